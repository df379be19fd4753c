#include "design/coding.h"

#include "model/model.h"

int hap_snp(int code, int position, const Window& w) {
  int rest = code, digit = 0;
  for (int k = 1; k <= position; k++) {
    const int weight = w.pow2[static_cast<std::size_t>(w.M - k)];
    digit = rest / weight;
    rest %= weight;
  }
  return digit;
}

namespace {

// Writes the coding of a genetic term times factor at z[at..]; returns the next position.
inline int genetic_coding(const Window& w, double* z, int at, int h1, int h2, double factor) {
  double first, second = 0.0;
  // The genotype is the allele count at the target, the window's first SNP.
  const int a1 = hap_snp(h1, 1, w);
  const int a2 = hap_snp(h2, 1, w);
  switch (w.mode) {
    case kRecessive: first = a1 * a2; break;
    case kDominant: first = (a1 == 1 || a2 == 1) ? 1.0 : 0.0; break;
    case kCodominant:
      first = a1 + a2 == 1 ? 1.0 : 0.0;
      second = a1 + a2 == 2 ? 1.0 : 0.0;
      break;
    default: first = a1 + a2; break;
  }
  z[at++] = factor * first;
  if (w.mode == kCodominant) z[at++] = factor * second;
  return at;
}

}  // namespace

int Zvec(const Window& w, double* z, int j, int h1, int h2) {
  int at = 0;
  for (int h = 0; h < w.pH; h++)
    if (w.H_H[h][h] > 0) at = genetic_coding(w, z, at, h1, h2, 1.0);
  for (int r = 0; r < w.pX; r++) {
    if (w.X_X[r][r] > 0) z[at++] = w.X[j][r];
    for (int c = r + 1; c < w.pX; c++)
      if (w.X_X[r][c] > 0) z[at++] = w.X[j][r] * w.X[j][c];
  }
  for (int r = 0; r < w.pX; r++)
    for (int h = 0; h < w.pH; h++)
      if (w.X_H[r][h] > 0) at = genetic_coding(w, z, at, h1, h2, w.X[j][r]);
  const bool intercept = (w.M != 1 && w.design == kCaseControl && w.anal == 1) ||
                         (w.M != 1 && w.design == kCrossSectional) ||
                         (w.M == 1 && (w.design == kCaseControl || w.design == kCrossSectional));
  if (intercept) z[at++] = 1.0;
  return at;
}

void Dvec(const Window& w, double* z, int j, int h1, int h2) {
  if (w.pD <= 0) return;
  const int G = w.qq / w.pD;
  const int base = w.q + w.KK - 1;
  for (int d = 0; d < w.pD; d++)
    for (int g = 0; g < G; g++) {
      const int c = w.hap_GOR[static_cast<std::size_t>(g)];
      z[base + d * G + g] = w.X[j][d] * ((h1 == c ? 1.0 : 0.0) + (h2 == c ? 1.0 : 0.0));
    }
}
