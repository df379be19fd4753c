// Reading the external reference panel (genotypes of trios, duos and singletons,
// one digit per panel column) and its phased haplotypes (one allele character per
// haplotype column).
#pragma once

#include <string>

#include "model/model.h"
#include "model/panel.h"

// Reads efile: per line holding a word, identifier (at most kMaxWordLength
// characters), position, the two allele letters (each the next non-blank
// character), then one digit per panel column, blanks between them optional. The
// column count is the number of non-blank characters after the letters of the
// first line; unless it equals 3 nTR + 2 nDU + nUN it returns the line
// "'PANEL' information does not match with '<efile>'\n", which stops the run as it
// stands. Fills the panel fields of PanelData with each SNP's allele frequency and
// mode-specific frequency over all columns. Returns "" or the line that stops the
// run (also for a code other than 0, 1, 2, 9 or a line with another column count).
std::string read_panel(const std::string& efile, const Model& model, PanelData& panel);

// Reads hfile: per line holding a word, identifier (at most kMaxWordLength
// characters), then one allele per haplotype column, '1' for the panel's first
// allele and '0' for the other, blanks between them optional. The column count is
// the number of non-blank characters after the first word of the first line.
// Fills nhap, nhap_snp, hap_id and hap. Returns "" or the error line.
std::string read_haplotypes(const std::string& hfile, PanelData& panel);
