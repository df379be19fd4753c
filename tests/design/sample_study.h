// A fixed simulated study of 200 subjects for the complete-data fits: one SNP
// (0/1/2 copies, 9 missing for about one subject in twelve), a continuous
// covariate X1 (three decimals), a three-level categorical covariate C (1, 2, 3),
// and the outcomes of all three designs: a case-control status, an integer
// follow-up time with an event flag (many tied times), and a continuous trait
// (three decimals). Drawn with a 64-bit linear congruential generator, so the
// same numbers come out everywhere; the reference fits in the tests were made
// once on exactly these numbers.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "design/model_builder.h"

namespace sample {

inline constexpr int kSubjects = 200;

struct Study {
  std::vector<int> geno;  // 9 = missing
  std::vector<double> x1, c, time, trait;
  std::vector<int> status, event;
};

class Lcg {
 public:
  explicit Lcg(std::uint64_t seed) : state_(seed) {}
  double uniform() {  // in [0, 1)
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(state_ >> 11) / 9007199254740992.0;
  }

 private:
  std::uint64_t state_;
};

inline Study study() {
  Lcg r(20240611ULL);
  Study s;
  for (int i = 0; i < kSubjects; i++) {
    const int g = (r.uniform() < 0.3 ? 1 : 0) + (r.uniform() < 0.3 ? 1 : 0);
    const bool missing = r.uniform() < 0.08;
    const double x1 = std::floor((r.uniform() + r.uniform() + r.uniform() - 1.5) * 2000.0 + 0.5) / 1000.0;
    const double u = r.uniform();
    const double c = u < 0.4 ? 1.0 : (u < 0.75 ? 2.0 : 3.0);
    const double c2 = c == 2.0 ? 1.0 : 0.0, c3 = c == 3.0 ? 1.0 : 0.0;

    const double eta = -0.4 + 0.5 * g + 0.6 * x1 + 0.5 * c2 - 0.4 * c3 + 0.3 * g * x1;
    const int status = r.uniform() < 1.0 / (1.0 + std::exp(-eta)) ? 1 : 0;

    const double rate = 0.05 * std::exp(0.4 * g + 0.5 * x1 + 0.3 * c2);
    const double fail = std::ceil(-std::log(1.0 - r.uniform()) / rate);
    const double censor = std::ceil(-std::log(1.0 - r.uniform()) / 0.03);
    const int event = fail <= censor ? 1 : 0;

    const double noise = r.uniform() + r.uniform() + r.uniform() + r.uniform() - 2.0;
    const double trait =
        std::floor((1.0 + 0.5 * g + 0.8 * x1 + 0.3 * c2 - 0.2 * c3 + noise) * 1000.0 + 0.5) / 1000.0;

    s.geno.push_back(missing ? 9 : g);
    s.x1.push_back(x1);
    s.c.push_back(c);
    s.status.push_back(status);
    s.time.push_back(event ? fail : censor);
    s.event.push_back(event);
    s.trait.push_back(trait);
  }
  return s;
}

// The study as the program holds it: covariates X1 and C, every outcome.
inline StudyData study_data() {
  const Study s = study();
  StudyData d = testmodel::make_study({s.x1, s.c}, s.geno);
  d.STATUS = s.status;
  d.TIME = s.time;
  d.EVENT = s.event;
  d.TRAIT = s.trait;
  return d;
}

// A model over X1 and the categorical C with the given EFFECT line.
inline Model model(int design, int mode, const std::string& effect) {
  return testmodel::Builder(design, mode, {"X1", "C"}).categorical("C").effect(effect).model();
}

}  // namespace sample
