// Everything a run reads before its per-SNP analyses: the model, the study, the
// external panel with its phased haplotypes, and the merged, aligned and filtered
// SNP map. Filled once by read_inputs (driver/pipeline.h) and then only read,
// apart from the analyses' own working copies.
#pragma once

#include "model/model.h"
#include "model/panel.h"
#include "model/study.h"

struct RunData {
  Model model;
  StudyData study;
  PanelData panel;  // empty under -ne
  SnpMap map;
};
