// The same simulated data in the formats real studies come in, for
// kestrova-prepare: study.vcf and study.bed/.bim/.fam (study genotypes),
// panel.vcf (panel genotypes, phased where haplotype.dat has a record),
// panel.fam (the panel's pedigree, each duo's untyped parent listed but absent
// from panel.vcf) and phenotypes.txt (FID, IID and the phenotype columns,
// rows in shuffled order).
#pragma once

#include "genome.h"
#include "options.h"
#include "phenotypes.h"
#include "writers.h"

#include <memory>
#include <string>
#include <vector>

namespace sim {

class ExchangeFiles {
public:
    ExchangeFiles(const Options& opt, const PanelLayout& panel, const Sample& s, const std::string& dir);
    // codes: the study's genotype codes ('0', '1', '2', '9') of the SNP.
    void study_snp(const Snp& snp, const char* codes);
    // alleles: the panel haplotypes (1 = allele 1); codes: the panel codes ('9' missing).
    void panel_snp(const Snp& snp, const std::uint8_t* alleles, const char* codes);
    void close();

private:
    const PanelLayout& panel_;
    int n_;
    OutFile studyVcf_, bed_, bim_, panelVcf_;
    std::vector<unsigned char> block_;
    std::string line_;
};

// Study sample names S1.., and the panel's sample names in column order.
std::string study_sample(int i);
std::vector<std::string> panel_samples(const Options& opt);

void write_phenotype_table(const Options& opt, const Sample& s, const std::string& path);
void write_pedigree(const Options& opt, const std::string& path);

} // namespace sim
