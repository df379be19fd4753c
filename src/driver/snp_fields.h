// The fields that open a SNP line of the genotype and panel files: the
// identifier, the position and the two allele letters. Each reader returns ""
// or the error line naming the line `ln` of `file`.
#pragma once

#include <string>

#include "driver/tokenizer.h"

// The identifier word at the start of a line, at most kMaxWordLength characters.
std::string read_snp_id(Words& words, std::string& id, int ln, const char* file);

// The position: an integer strictly between the map's sentinels.
std::string read_position(Words& words, int& pos, int ln, const char* file);

// The two allele letters, each the next non-blank character.
std::string read_letters(Words& words, char& a1, char& a2, int ln, const char* file);
