// One conversion: the phenotype table, the study genotypes and, optionally, the
// reference panel with its pedigree become, per chromosome, the five input
// files of kestrova (specification.txt, phenotype.dat, genotype.dat,
// external.dat, haplotype.dat) in a folder named after the chromosome.
#pragma once

#include "model.h"
#include "phenotable.h"

#include <string>

namespace prepare {

struct Settings {
    std::string vcf, bfile;           // study genotypes: one of the two
    std::string phenotypes;
    std::string panel, pedigree;      // both or neither
    std::string modelFile;
    std::string out = ".";
    std::string chromosome;           // --chr
    std::string region;               // --region FROM-TO
    TableRequest table;
    bool covariatesGiven = false;
    ModelRequest model;
};

// Runs the conversion. Returns "" and the report text, or the message of the
// "Error: ..." line; nothing is left under a final name after an error.
std::string run(const Settings& s, std::string& report);

} // namespace prepare
