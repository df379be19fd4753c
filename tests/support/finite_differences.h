// Central differences for the checks of gradients and information matrices.
#pragma once

#include <vector>

#include "core/arrays.h"

namespace fd {

// The gradient of f at theta (0-based).
template <class F>
std::vector<double> gradient(F f, std::vector<double> theta, double h = 1e-5) {
  std::vector<double> g(theta.size());
  for (std::size_t i = 0; i < theta.size(); i++) {
    const double t0 = theta[i];
    theta[i] = t0 + h;
    const double up = f(theta);
    theta[i] = t0 - h;
    g[i] = (up - f(theta)) / (2 * h);
    theta[i] = t0;
  }
  return g;
}

// The Hessian of f at theta (1-based, as the information matrices are).
template <class F>
Mat<double> hessian(F f, const std::vector<double>& theta, double h = 1e-4) {
  const long n = static_cast<long>(theta.size());
  Mat<double> H = dmatrix(1, n, 1, n);
  const int si[4] = {1, 1, -1, -1}, sj[4] = {1, -1, 1, -1};
  for (std::size_t i = 0; i < theta.size(); i++)
    for (std::size_t j = i; j < theta.size(); j++) {
      double v[4];
      for (int k = 0; k < 4; k++) {
        std::vector<double> t = theta;
        t[i] += si[k] * h;
        t[j] += sj[k] * h;
        v[k] = f(t);
      }
      H[static_cast<long>(i) + 1][static_cast<long>(j) + 1] = H[static_cast<long>(j) + 1][static_cast<long>(i) + 1] =
          (v[0] - v[1] - v[2] + v[3]) / (4 * h * h);
    }
  return H;
}

}  // namespace fd
