// The reference panel's pedigree (a PLINK .fam file, or the first six columns
// of a .ped file) and the choice of the panel's trios, duos and singletons
// among the samples of the panel VCF.
//
// The rule: trios first, then duos, then singletons, each in the order of the
// panel VCF (a family in the order of its child). A trio is a child with father
// and mother in the VCF; a duo a child with one parent in the VCF; a singleton
// anyone else. A unit is taken only when none of its members is related to
// anyone already taken, relatives being people linked through the pedigree's
// father and mother columns at any distance. So nobody is used twice, no two
// relatives are singletons, and the units are unrelated to each other. A VCF
// sample absent from the pedigree is taken to be unrelated to everybody.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace prepare {

struct Person {
    std::string iid, father, mother;  // "0": unknown parent
    int line = 0;
};

struct Pedigree {
    std::string error;  // empty when the pedigree was read
    std::vector<Person> people;
};

// Reads the pedigree from its text; prints nothing.
Pedigree read_pedigree(std::string_view text, const std::string& file);

struct PanelFamilies {
    int trios = 0, duos = 0, singletons = 0;
    std::vector<int> column;    // VCF sample index of each column of external.dat
    std::vector<int> founders;  // VCF sample indices whose haplotypes go into haplotype.dat
    int notInPedigree = 0;      // VCF samples absent from the pedigree (used as unrelated)
    int leftOut = 0;            // VCF samples related to a unit already taken
    int pedigreeOnly = 0;       // pedigree people absent from the VCF
};

PanelFamilies choose_families(const Pedigree& ped, const std::vector<std::string>& samples);

} // namespace prepare
