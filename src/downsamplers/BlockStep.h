#ifndef VEXEL_DOWNSAMPLERS_BLOCKSTEP_H
#define VEXEL_DOWNSAMPLERS_BLOCKSTEP_H

#include "downsamplers/BlockReducer.h"
#include "downsamplers/stepcontext.h"
#include "downsamplers/tilestep.h"

namespace vexel {

/// Downsamples one tile by reducing its blocks of `factor` by `factor` pixels to one each. False, after an error was
/// logged, if the output cannot be written; blocks of files that cannot be read count as zeros. False also if
/// `context.report` ends it.
bool reduceBlocks(const StepContext& context, const TileStep& plan, double factor, int border,
                  const BlockReducer& reducer);

} // namespace vexel

#endif
