#ifndef VEXEL_DOWNSAMPLERS_BLOCKSTEP_H
#define VEXEL_DOWNSAMPLERS_BLOCKSTEP_H

#include "downsamplers/BlockReducer.h"
#include "downsamplers/stepcontext.h"
#include "downsamplers/tilestep.h"

namespace vexel {

/// Downsamples one tile by reducing each of its blocks to one pixel. False, after an error was
/// logged, if the output cannot be written; blocks of files that cannot be read count as zeros. False also if
/// `context.report` ends it.
bool reduceBlocks(const StepContext& context, const TileStep& plan, const BlockReducer& reducer);

} // namespace vexel

#endif
