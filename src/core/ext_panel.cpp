#include "core/ext_panel.h"

#include <cmath>

namespace {

// Haplotypes an entry holds: h1..h4 for a trio, h1..h3 for a duo, h1, h2 for a singleton.
int held(int type) {
  if (type == kTrio) return 4;
  if (type == kDuo) return 3;
  return 2;
}

// Number of orderings of the pair (x, y).
double orderings(int x, int y) { return x == y ? 1.0 : 2.0; }

// P at the unordered pair of haplotype codes x, y.
double pair_value(const Mat<double>& P, const int* hapmap, int x, int y) {
  int a = hapmap[x], b = hapmap[y];
  return a <= b ? P[a][b] : P[b][a];
}

// The entry's unnormalised probability, with the orderings factors c or without.
double entry_term(int type, const FamilyEntry& e, const Mat<double>& P, const int* hapmap, bool with_c) {
  const int* h = e.h;
  double t;
  if (type == kTrio) {
    t = pair_value(P, hapmap, h[0], h[1]) * pair_value(P, hapmap, h[2], h[3]);
    if (with_c) t *= orderings(h[0], h[1]) * orderings(h[2], h[3]);
  } else if (type == kDuo) {
    t = pair_value(P, hapmap, h[0], h[1]) * std::sqrt(pair_value(P, hapmap, h[2], h[2]));
    if (with_c) t *= orderings(h[0], h[1]);
  } else {
    t = pair_value(P, hapmap, h[0], h[1]);
    if (with_c) t *= orderings(h[0], h[1]);
  }
  return t;
}

}  // namespace

double ext_pairs(const Window& w) {
  return kTrioPairs * w.nTR_new + kDuoPairs * w.nDU_new + kSingletonPairs * w.nUN_new;
}

void link_eval_ext(Window& w, const Mat<double>& P, const int* hapmap) {
  w.nTR_new = w.nDU_new = w.nUN_new = 0;
  for (const FamilyNode& fam : w.list_ex.families) {
    double sum = 0.0;
    for (int k = fam.first; k < fam.last; k++) {
      FamilyEntry& e = w.list_ex.entries[k];
      e.w = entry_term(fam.type, e, P, hapmap, true);
      sum += e.w;
    }
    for (int k = fam.first; k < fam.last; k++) w.list_ex.entries[k].w /= sum;
    if (fam.type == kTrio)
      w.nTR_new++;
    else if (fam.type == kDuo)
      w.nDU_new++;
    else
      w.nUN_new++;
  }
}

void loglike_ext(const Window& w, double& f, const Mat<double>& P, double scale, const int* hapmap) {
  f += ext_pairs(w) * std::log(scale);
  for (const FamilyNode& fam : w.list_ex.families)
    for (int k = fam.first; k < fam.last; k++) {
      const FamilyEntry& e = w.list_ex.entries[k];
      f -= e.w * std::log(entry_term(fam.type, e, P, hapmap, false));
    }
}

void dloglike_ext(const Window& w, double* g, const Mat<double>& P, double scale, const int* hapmap) {
  const int KK = w.KK, q = w.q;
  const double N_ext = ext_pairs(w);
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++) {
      double e = N_ext * P[a][b] / scale;
      if (a != b) e *= 2.0;
      if (a > 0) g[q + a - 1] += e;
      if (b > 0) g[q + b - 1] += e;
    }
  for (const FamilyNode& fam : w.list_ex.families) {
    int nh = held(fam.type);
    for (int k = fam.first; k < fam.last; k++) {
      const FamilyEntry& e = w.list_ex.entries[k];
      for (int j = 0; j < nh; j++) {
        int pos = hapmap[e.h[j]];
        if (pos > 0) g[q + pos - 1] -= e.w;
      }
    }
  }
}

void obs_loglike_ext(const Window& w, double& f, const Mat<double>& P, double scale, const int* hapmap) {
  f += ext_pairs(w) * std::log(scale);
  for (const FamilyNode& fam : w.list_ex.families) {
    double sum = 0.0;
    for (int k = fam.first; k < fam.last; k++) sum += entry_term(fam.type, w.list_ex.entries[k], P, hapmap, true);
    f -= std::log(sum);
  }
}

void ddloglike_ext(const Window& w, Mat<double>& I, double N_ext, const Mat<double>& P, double scale) {
  const int KK = w.KK, q = w.q;
  if (KK < 2) return;
  Vec<double> pi = dvector(1, KK - 1);
  for (int k = 1; k < KK; k++) pi[k] = std::sqrt(P[k][k]) / std::sqrt(scale);
  for (int k = 1; k < KK; k++)
    for (int l = 1; l < KK; l++) {
      double d = -pi[k] * pi[l];
      if (k == l) d += pi[k];
      I[q + k][q + l] += 2.0 * N_ext * d;
    }
}

void Louis_ext(const Window& w, Mat<double>& I, const Mat<double>& P, const int* hapmap) {
  const int KK = w.KK, q = w.q;
  double scale = 0.0;
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++) scale += (a == b ? 1.0 : 2.0) * P[a][b];
  ddloglike_ext(w, I, ext_pairs(w), P, scale);
  if (KK < 2) return;

  // Missing information: each family's covariance of the counts under its weights.
  Vec<double> s = dvector(1, KK - 1), mean = dvector(1, KK - 1);
  Mat<double> second = dmatrix(1, KK - 1, 1, KK - 1);
  for (const FamilyNode& fam : w.list_ex.families) {
    int nh = held(fam.type);
    mean.fill(0.0);
    second.fill(0.0);
    for (int k = fam.first; k < fam.last; k++) {
      const FamilyEntry& e = w.list_ex.entries[k];
      s.fill(0.0);
      for (int j = 0; j < nh; j++) {
        int pos = hapmap[e.h[j]];
        if (pos > 0) s[pos] += 1.0;
      }
      for (int a = 1; a < KK; a++) {
        mean[a] += e.w * s[a];
        for (int b = 1; b < KK; b++) second[a][b] += e.w * s[a] * s[b];
      }
    }
    for (int a = 1; a < KK; a++)
      for (int b = 1; b < KK; b++) I[q + a][q + b] -= second[a][b] - mean[a] * mean[b];
  }
}
