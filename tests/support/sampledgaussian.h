#ifndef VEXEL_TESTS_SUPPORT_SAMPLEDGAUSSIAN_H
#define VEXEL_TESTS_SUPPORT_SAMPLEDGAUSSIAN_H

#include <cmath>
#include <vector>

/// The Gaussian sampled at whole pixels from -reach to reach, scaled to sum 1.
inline std::vector<double> sampledGaussian(double sigma, int reach)
{
    std::vector<double> weights;
    double sum = 0.0;
    for (int i = -reach; i <= reach; ++i) {
        weights.push_back(std::exp(-0.5 * i * i / (sigma * sigma)));
        sum += weights.back();
    }
    for (double& weight : weights)
        weight /= sum;
    return weights;
}

#endif
