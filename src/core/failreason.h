// Why an analysis gave no result: the check that rejected it and the routine
// (stage) where it did. Every routine that returns 0 records its reason in the
// window it works on, so the reason travels with that window's result.
#pragma once

enum class Check : unsigned char {
  kNone,
  kNoInformation,      // tags below the information threshold
  kFrequencyNan,       // EM left a frequency that is not a number
  kNothingRetained,    // no haplotype reached the retention frequency
  kNobodyLeft,         // the pruned study list is empty
  kNoCaseOrControl,    // case-control window without cases or without controls
  kNobodyTyped,        // complete data: nobody typed at the SNP
  kNoCoefficient,      // the design has no coefficient to fit
  kNoDependence,       // no haplotype may carry gene-environment dependence
  kDesignRagged,       // design vectors of unequal length across pairs
  kExplosionBefore,    // information matrix unusable before inversion
  kExplosionAfter,     // its inverse unusable
  kImproperStd,        // a variance of the inverse is not proper
  kFitCap,             // fitting loop reached its iteration cap
  kProfileCap,         // profile loop reached its iteration cap
  kNoDecrease,         // step halving found no decrease, step negligible
  kEstimateNotFinite,  // result line: estimate not a finite number
  kStdErrNotPositive,  // result line: standard error zero, negative or not finite
  kZNotFinite,         // result line: Z statistic not finite
};

struct FailReason {
  const char* stage = "";  // routine that applied the check
  Check check = Check::kNone;
};

// The words of a check, for the diagnostics file.
inline const char* check_text(Check c) {
  switch (c) {
    case Check::kNone: return "";
    case Check::kNoInformation: return "tags carry no information (MD below 1e-06)";
    case Check::kFrequencyNan: return "a haplotype frequency is not a number";
    case Check::kNothingRetained: return "no haplotype retained (every frequency below 0.002)";
    case Check::kNobodyLeft: return "nobody left in the study list";
    case Check::kNoCaseOrControl: return "no case or no control left in the window";
    case Check::kNobodyTyped: return "nobody typed at the SNP";
    case Check::kNoCoefficient: return "the fitted design has no coefficient";
    case Check::kNoDependence: return "no haplotype may carry gene-environment dependence (G below 1)";
    case Check::kDesignRagged: return "design vectors of unequal length across haplotype pairs";
    case Check::kExplosionBefore: return "information matrix fails the explosion check before inversion";
    case Check::kExplosionAfter: return "inverse of the information matrix fails the explosion check";
    case Check::kImproperStd: return "improper standard errors (a variance of 0 or less, or of 100 or more)";
    case Check::kFitCap: return "no convergence within the cap of fitting iterations";
    case Check::kProfileCap: return "no convergence of the profile within its iteration cap";
    case Check::kNoDecrease: return "step halving found no decrease and the step is negligible";
    case Check::kEstimateNotFinite: return "estimate is not a finite number";
    case Check::kStdErrNotPositive: return "standard error is zero, negative or not a finite number";
    case Check::kZNotFinite: return "Z statistic is not finite";
  }
  return "";
}
