// Reading the study: the phenotype file (responses and covariates, and which
// individuals are used), the reordering that puts the genotype-dependent
// covariates first, and the genotype file (one byte per genotype, SNP by SNP, with
// each SNP's allele frequency, missing fraction and mode-specific frequency).
#pragma once

#include <string>
#include <vector>

#include "model/model.h"
#include "model/study.h"

// Reads pfile after its header (the first line holding a word). Every further line
// holding a word is one individual with one entry per header column: the response
// (status; time and event for the cohort design; trait), then the covariates in
// model order. An entry that is not a number is missing. A missing response or a
// missing main-effect covariate excludes the individual; another missing covariate
// is kept as NaN. Fills n_total, n, used, p, the response of the design and cov.
// Status and event are truncated toward zero. Returns "" or the error line (wrong
// number of entries on a line, a status or event beyond the integer range).
std::string read_phenotypes(const std::string& pfile, const Model& model, StudyData& study);

// Puts the covariates of class 'D' first and those of class 'I' after them, each
// group in file order: names, categorical flags, classes, the covariate rows and
// columns of the effect matrix (with their links to the appended names, which keep
// their places) and the columns of study.cov are permuted alike.
void order_dependent_first(Model& model, StudyData& study);

// Reads gfile: per line holding a word, identifier (at most kMaxWordLength
// characters), position, strand flag, the two allele letters (each the next
// non-blank character) and one code (0, 1, 2 or 9) per individual of the phenotype
// file; codes of excluded individuals are dropped. Needs study.used and study.n
// from read_phenotypes. Fills the SNP fields of study; mode is the mode of
// inheritance. Every line is read and checked; with keep, only the genotypes of
// the SNPs whose keep flag is set are held (an empty keep holds none, and
// study.row tells where each kept SNP's row lies). Returns "" or the error line
// naming file and line.
std::string read_genotypes(const std::string& gfile, int mode, StudyData& study,
                           const std::vector<char>* keep = nullptr);
