// Reading the model: covariate names from the phenotype file's header, then the
// specification file's keyword lines (DESIGN, CATEGORICAL, DEPENDENT, PANEL, MODE,
// EFFECT, OUTPUT) into the Model.
#pragma once

#include <string>
#include <vector>

#include "model/model.h"

// Reads the header of pfile and the specification file sfile into model.
// ext is the external-panel flag in force while the file is read (it is 1 then;
// the PANEL line is skipped with a warning only when it is 0).
// Warning lines are appended to warnings in the order they arise. Returns "" or
// the error line that stops the run.
std::string read_header(Model& model, const std::string& pfile, const std::string& sfile, int ext,
                        std::vector<std::string>& warnings);


// Where the piece that starts at `start` ends (one past its last character).
std::size_t piece_end(const std::string& text, std::size_t start);

// The white-space separated words of a piece, left to right.
std::vector<std::string> split_words(const std::string& piece);
