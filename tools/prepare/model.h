// The model of specification.txt: design, mode of inheritance, categorical and
// dependent covariates, the EFFECT and OUTPUT terms; given by options or by a
// model file of keyword lines ("EFFECT = G AGE G*AGE"). Every name is checked
// against the phenotype columns before anything is written.
#pragma once

#include "phenotable.h"

#include <string>
#include <string_view>
#include <vector>

namespace prepare {

struct ModelRequest {
    std::string design;  // empty: from the response options
    std::string mode;    // empty: additive
    std::vector<std::string> effect, output, categorical, dependent;
};

// Adds the keyword lines of a model file to req; the error message, or "".
std::string read_model_file(std::string_view text, const std::string& file, ModelRequest& req);

// The design word that the response options imply.
const char* design_of(Response r);

// Covariates named by the model's EFFECT, CATEGORICAL and DEPENDENT words, in
// order of first mention (used when --covariates is not given).
std::vector<std::string> covariates_of(const ModelRequest& req);

// Checks the model against the response kind and the covariates and fills the
// defaults (EFFECT G and the covariates, OUTPUT G); the error message, or "".
std::string check_model(ModelRequest& req, Response response, const std::vector<std::string>& covariates);

// specification.txt; panel: trios, duos, singletons, or nullptr without a panel.
std::string model_file_text(const ModelRequest& req, const int* panel);

// Splits an option value at blanks and commas.
std::vector<std::string> words_of(std::string_view text);

} // namespace prepare
