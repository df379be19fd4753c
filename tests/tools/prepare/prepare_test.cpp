// kestrova-prepare as a program: the simulator's VCF, PLINK, pedigree and
// phenotype-table files converted back into exactly the five files the
// simulator writes directly (plain VCF, bgzipped VCF, BCF, PLINK, and PLINK
// written by plink2 from the VCF), kestrova giving identical results from
// both; real-world-shaped input with its report; and every "Error: ..." path.
#include <gtest/gtest.h>

#include <htslib/vcf.h>

#include <cstdlib>
#include <filesystem>

#include "support/process.h"

namespace fs = std::filesystem;

namespace {

const char* const kFive[] = {"specification.txt", "phenotype.dat", "genotype.dat", "external.dat", "haplotype.dat"};

RunResult prepare(const ScratchDir& dir, const std::vector<std::string>& args) {
    return run_in(dir.path(), KESTROVA_PREPARE, args);
}

void simulate_vcf(const ScratchDir& dir, const std::vector<std::string>& args) { simulate(dir, with({"--vcf"}, args)); }

// The five files in folder `sub` equal the simulator's own.
void expect_simulator_files(const ScratchDir& dir, const std::string& sub) {
    for (const char* f : kFive) {
        ASSERT_TRUE(dir.exists(sub + "/" + f)) << sub << "/" << f;
        EXPECT_EQ(dir.read(sub + "/" + f), dir.read(f)) << sub << "/" << f;
    }
}

// Rewrites a VCF with htslib: "wz" bgzipped VCF, "wb" BCF.
void recode(const fs::path& in, const fs::path& out, const char* mode) {
    htsFile* src = hts_open(in.c_str(), "r");
    ASSERT_NE(src, nullptr);
    bcf_hdr_t* hdr = bcf_hdr_read(src);
    htsFile* dst = hts_open(out.c_str(), mode);
    ASSERT_EQ(bcf_hdr_write(dst, hdr), 0);
    bcf1_t* rec = bcf_init();
    while (bcf_read(src, hdr, rec) == 0) ASSERT_EQ(bcf_write(dst, hdr, rec), 0);
    bcf_destroy(rec);
    bcf_hdr_destroy(hdr);
    hts_close(dst);
    hts_close(src);
}

const std::vector<std::string> kPanel = {"--panel", "panel.vcf", "--pedigree", "panel.fam"};

} // namespace

TEST(Prepare, VcfBgzipBcfAndPlinkRoutesWriteTheSimulatorsFiles) {
    ScratchDir dir;
    simulate_vcf(dir, {"--seed", "31", "--cases", "300", "--controls", "300", "--snps", "40", "--effect", "0.8",
                   "--causal-untyped", "--covariates", "1", "--categorical", "1", "--missing-phenotypes", "0.02",
                   "--swap-letters", "3", "--ambiguous", "2", "--unphased", "2", "--study-only", "2"});
    recode(dir.path() / "study.vcf", dir.path() / "study.vcf.gz", "wz");
    recode(dir.path() / "study.vcf", dir.path() / "study.bcf", "wb");
    recode(dir.path() / "panel.vcf", dir.path() / "panel.bcf", "wb");
    const std::vector<std::string> table = {"--phenotypes", "phenotypes.txt", "--status", "STATUS", "--covariates",
                                            "X1,C1", "--categorical", "C1"};
    const std::vector<std::vector<std::string>> routes = {
        {"--vcf", "study.vcf", "--panel", "panel.vcf"},
        {"--vcf", "study.vcf.gz", "--panel", "panel.bcf"},
        {"--vcf", "study.bcf", "--panel", "panel.vcf"},
        {"--bfile", "study", "--panel", "panel.vcf"}};
    for (std::size_t k = 0; k < routes.size(); ++k) {
        const std::string out = "route" + std::to_string(k);
        const RunResult r = prepare(dir, with(with(routes[k], table), {"--pedigree", "panel.fam", "--out", out}));
        ASSERT_EQ(r.status, 0) << r.out;
        expect_simulator_files(dir, out + "/1");
        EXPECT_EQ(dir.read(out + "/1/snp_names.txt"), "name position original_identifier file\n");
        EXPECT_NE(r.out.find("Panel: 170 samples; 30 trios, 10 duos, 60 singletons (170 columns, 260 founder haplotypes)"),
                  std::string::npos) << r.out;
        EXPECT_NE(r.out.find("2 without: a founder's call unphased or missing"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("2 of them A/T or C/G (strand-ambiguous)"), std::string::npos) << r.out;
    }
    // kestrova on the prepared folder gives the same results as on the simulator's files.
    ASSERT_EQ(run_kestrova(dir, {"-ofile", "direct"}).status, 0);
    const RunResult r = run_in(dir.path() / "route0" / "1", KESTROVA_BIN, {"-ofile", "prepared"});
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(dir.read("route0/1/prepared_G.out"), dir.read("direct_G.out"));
}

TEST(Prepare, CohortAndCrossSectionalStudiesWithAModelFile) {
    ScratchDir dir;
    simulate_vcf(dir, {"--seed", "61", "--design", "cohort", "--subjects", "200", "--snps", "25", "--covariates", "1",
                   "--categorical", "1", "--dependent", "--output", "G X1"});
    dir.write("model.txt", "DESIGN = cohort\nCATEGORICAL = C1\nDEPENDENT = C1\nEFFECT = G X1 C1\nOUTPUT = G X1\n");
    RunResult r = prepare(dir, with({"--vcf", "study.vcf", "--phenotypes", "phenotypes.txt", "--time", "TIME", "--event",
                                     "EVENT", "--model", "model.txt", "--out", "co"},
                                    kPanel));
    ASSERT_EQ(r.status, 0) << r.out;
    expect_simulator_files(dir, "co/1");

    ScratchDir cs;
    simulate_vcf(cs, {"--seed", "62", "--design", "cross-sectional", "--subjects", "200", "--snps", "25", "--mode",
                  "recessive"});
    r = prepare(cs, with({"--vcf", "study.vcf", "--phenotypes", "phenotypes.txt", "--trait", "TRAIT", "--mode",
                          "recessive", "--out", "cs"},
                         kPanel));
    ASSERT_EQ(r.status, 0) << r.out;
    expect_simulator_files(cs, "cs/1");
}

namespace {

// A small study and panel with what real files hold: a shuffled phenotype table
// with a sample not genotyped, a genotyped sample without phenotypes,
// multi-allelic, indel and symbolic records, missing and repeated identifiers,
// repeated positions, an unsorted record, half-missing calls, several
// chromosomes with and without "chr", a duo from a trio whose parent is not in
// the panel, a panel SNP with an unphased founder call, swapped, complementary
// and A/T letters.
void write_real_world(const ScratchDir& dir) {
    const std::string vcfHead =
        "##fileformat=VCFv4.2\n##contig=<ID=chr1>\n##contig=<ID=chr2>\n##contig=<ID=chr3>\n"
        "##FORMAT=<ID=GT,Number=1,Type=String,Description=\"Genotype\">\n"
        "##FORMAT=<ID=DP,Number=1,Type=Integer,Description=\"Depth\">\n"
        "#CHROM\tPOS\tID\tREF\tALT\tQUAL\tFILTER\tINFO\tFORMAT";
    dir.write("study.vcf",
              vcfHead + "\tA\tB\tC\tD\n"
              "chr1\t100\trs1\tA\tG\t.\tPASS\t.\tGT:DP\t0/0:5\t0|1:7\t1/1:3\t./.:0\n"
              "chr1\t150\t.\tc\tt\t.\tPASS\t.\tGT\t0/1\t1/1\t0/0\t./1\n"
              "chr1\t200\trs3\tA\tG,T\t.\tPASS\t.\tGT\t0/1\t0/2\t0/0\t0/0\n"
              "chr1\t250\trs4\tAT\tA\t.\tPASS\t.\tGT\t0/1\t0/1\t0/0\t0/0\n"
              "chr1\t300\trs5\tG\t<DEL>\t.\tPASS\t.\tGT\t0/1\t0/1\t0/0\t0/0\n"
              "chr1\t350\trs6\tA\tG\t.\tPASS\t.\tGT\t0/1\t0/1\t0/0\t0/0\n"
              "chr1\t350\trs6b\tA\tC\t.\tPASS\t.\tGT\t0/1\t0/1\t0/0\t0/0\n"
              "chr1\t320\trs7\tA\tG\t.\tPASS\t.\tGT\t0/1\t0/1\t0/0\t0/0\n"
              "chr1\t400\trs1\tC\tA\t.\tPASS\t.\tGT\t1/1\t.\t0/1\t1|0\n"
              "chr1\t450\trs9\tT\t.\t.\tPASS\t.\tGT\t0/0\t0/0\t0/0\t0/0\n"
              "chr2\t100\trs10\tA\tT\t.\tPASS\t.\tGT\t0/1\t1/1\t0/0\t0/0\n");
    dir.write("pheno.tsv", "FID\tIID\tage\tcc\r\nx\tD\t61\t1\r\ny\tB\t\t0\r\nz\tA\t40\tNA\r\nw\tE\t33\t1\r\n");
    std::string panelHead = vcfHead;
    for (std::size_t at; (at = panelHead.find("ID=chr")) != std::string::npos;) panelHead.erase(at + 3, 3);
    dir.write("panel.vcf",
              panelHead + "\tfa\tmo\tkid\tp\tc\tu1\n"
              "1\t100\trs1\tG\tA\t.\tPASS\t.\tGT\t0|1\t1|1\t1|1\t0|0\t0|1\t1|0\n"
              "1\t150\trsP\tG\tA\t.\tPASS\t.\tGT\t0|0\t0|1\t0|1\t1|1\t1|0\t0|0\n"
              "1\t400\trs8\tC\tA\t.\tPASS\t.\tGT\t0|1\t0/1\t0|1\t1|1\t1|0\t0|0\n"
              "1\t500\trsQ\tT\tC\t.\tPASS\t.\tGT\t0|0\t0|1\t.|.\t1|1\t1|0\t0|0\n"
              "2\t100\trs10\tA\tT\t.\tPASS\t.\tGT\t0|1\t1|1\t1|1\t0|0\t0|1\t1|0\n"
              "3\t100\trs11\tA\tG\t.\tPASS\t.\tGT\t0|1\t1|1\t1|1\t0|0\t0|1\t1|0\n");
    // c's mother m2 is not in the panel VCF; u1 is in the VCF but not in the pedigree.
    dir.write("panel.ped", "F1 fa 0 0 1 -9 A A\nF1 mo 0 0 2 -9 A A\nF1 kid fa mo 1 -9 A A\n"
                           "F2 p 0 0 1 -9 A A\nF2 m2 0 0 2 -9 A A\nF2 c p m2 2 -9 A A\n");
}

} // namespace

TEST(Prepare, RealWorldShapedInputAndItsReport) {
    ScratchDir dir;
    write_real_world(dir);
    const RunResult r = prepare(dir, {"--vcf", "study.vcf", "--phenotypes", "pheno.tsv", "--status", "cc",
                                      "--covariates", "age", "--panel", "panel.vcf", "--pedigree", "panel.ped",
                                      "--out", "out"});
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(r.out,
              "kestrova-prepare: study 'study.vcf', phenotypes 'pheno.tsv', panel 'panel.vcf' with pedigree 'panel.ped'\n"
              "Samples: 4 genotyped, 3 matched with a phenotype row and written (1 of them without a response value, "
              "which kestrova leaves out), 1 left out (no phenotype row); "
              "1 of 4 phenotype rows without genotypes\n"
              "Panel: 6 samples; 1 trios, 1 duos, 1 singletons (6 columns, 8 founder haplotypes); 0 left out (related "
              "to a unit already taken); 1 not in the pedigree (taken as unrelated); 1 pedigree people not in the panel\n"
              "Study sites: 11 records, 4 biallelic SNPs kept; skipped: 1 multi-allelic, 1 indels, 1 symbolic or '*' "
              "alleles, 1 without a second allele, 2 at a repeated position, 1 out of order; 2 identifiers renamed "
              "(see snp_names.txt)\n"
              "Panel sites: 6 records, 6 biallelic SNPs kept; none skipped; 1 on chromosomes without study SNPs (not "
              "used)\n"
              "Chromosome chr1: 3 study SNPs, 4 panel SNPs (3 with haplotypes, 1 without: a founder's call unphased "
              "or missing); 3 positions shared, 0 of them A/T or C/G (strand-ambiguous), 1 with complementary letters "
              "(other strand) -> 'out/1'\n"
              "Chromosome chr2: 1 study SNPs, 1 panel SNPs (1 with haplotypes, 0 without: a founder's call unphased "
              "or missing); 1 positions shared, 1 of them A/T or C/G (strand-ambiguous) -> 'out/2'\n"
              "Model: DESIGN case-control, MODE additive; written: out/1 out/2\n");
    // Samples in the study file's order (A, B, D; C has no phenotypes).
    EXPECT_EQ(dir.read("out/1/phenotype.dat"), "cc age\nNA 40\n0 NA\n1 61\n");
    EXPECT_EQ(dir.read("out/1/genotype.dat"),
              "rs1 100 0 G A 0 1 9\n1:150 150 0 T C 1 2 9\n1:400 400 0 A C 2 9 1\n");
    EXPECT_EQ(dir.read("out/1/snp_names.txt"),
              "name position original_identifier file\n1:150 150 . study\n1:400 400 rs1 study\n");
    // Trio fa mo kid, duo p c, singleton u1; haplotypes of fa, mo, p, u1.
    EXPECT_EQ(dir.read("out/1/external.dat"),
              "rs1 100 A G 1 2 2 0 1 1\nrsP 150 A G 0 1 1 2 1 0\nrs8 400 A C 1 1 1 2 1 0\nrsQ 500 C T 0 1 9 2 1 0\n");
    // rs8: mo's call is unphased, so no haplotype record; rsQ: only the child's call is missing.
    EXPECT_EQ(dir.read("out/1/haplotype.dat"), "rs1 0 1 1 1 0 0 1 0\nrsP 0 0 0 1 1 1 0 0\nrsQ 0 0 0 1 1 1 0 0\n");
    EXPECT_EQ(dir.read("out/1/specification.txt"),
              "DESIGN = case-control\nPANEL = 1 1 1\nMODE = additive\nEFFECT = G age\nOUTPUT = G\n");
    EXPECT_EQ(dir.read("out/2/genotype.dat"), "rs10 100 0 T A 1 2 0\n");
    EXPECT_FALSE(dir.exists("out/3"));

    // One chromosome, one region.
    const RunResult one = prepare(dir, {"--vcf", "study.vcf", "--phenotypes", "pheno.tsv", "--status", "cc", "--chr", "1",
                                        "--region", "120-420", "--out", "one"});
    ASSERT_EQ(one.status, 0) << one.out;
    EXPECT_EQ(dir.read("one/1/genotype.dat"), "1:150 150 0 T C 1 2 9\nrs1 400 0 A C 2 9 1\n");
    EXPECT_EQ(dir.read("one/1/specification.txt"), "DESIGN = case-control\nMODE = additive\nEFFECT = G\nOUTPUT = G\n");
    EXPECT_FALSE(dir.exists("one/2"));
    EXPECT_NE(one.out.find("2 outside --region, 1 on other chromosomes than --chr"), std::string::npos) << one.out;
}

TEST(Prepare, TheExampleConvertsAndRuns) {
    ScratchDir dir;
    const std::string ex = std::string(KESTROVA_SOURCE_DIR) + "/examples/vcf/";
    const std::vector<std::string> rest = {"--phenotypes", ex + "phenotypes.txt", "--status", "STATUS", "--covariates",
                                           "X1", "--panel", ex + "panel.vcf", "--pedigree", ex + "panel.fam"};
    RunResult r = prepare(dir, with({"--vcf", ex + "study.vcf", "--out", "vcf"}, rest));
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("skipped: 1 multi-allelic; 1 identifiers renamed"), std::string::npos) << r.out;
    r = prepare(dir, with({"--bfile", ex + "study", "--out", "plink"}, rest));
    ASSERT_EQ(r.status, 0) << r.out;
    for (const char* f : kFive) EXPECT_EQ(dir.read(std::string("plink/1/") + f).empty(), false) << f;
    // The PLINK files carry the identifier the VCF lacks and not the multi-allelic record.
    EXPECT_EQ(dir.read("plink/1/external.dat"), dir.read("vcf/1/external.dat"));
    r = run_in(dir.path() / "vcf" / "1", KESTROVA_BIN, {});
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(dir.read("vcf/1/results_G.out").find("rs97447"), std::string::npos);
}

// plink2's .bed from the VCF, read with --bfile, gives what the VCF gives: the
// simulator's own files, and the real-world-shaped study's folders.
TEST(Prepare, Plink2FromTheVcfGivesTheSameFolders) {
    if (std::system("command -v plink2 >/dev/null 2>&1") != 0) GTEST_SKIP() << "plink2 is not installed";
    auto plink2 = [](const ScratchDir& dir) {
        const RunResult p = run_in(dir.path(), "plink2", {"--vcf", "study.vcf", "--vcf-half-call", "missing",
                                                          "--max-alleles", "2", "--make-bed", "--out", "fromvcf",
                                                          "--threads", "1"});
        EXPECT_EQ(p.status, 0) << p.out;
    };
    ScratchDir sim;
    simulate_vcf(sim, {"--seed", "7", "--cases", "150", "--controls", "150", "--snps", "30", "--missing-share", "0.5"});
    plink2(sim);
    const RunResult r = prepare(sim, with({"--bfile", "fromvcf", "--phenotypes", "phenotypes.txt", "--status", "STATUS",
                                           "--out", "p2"}, kPanel));
    ASSERT_EQ(r.status, 0) << r.out;
    expect_simulator_files(sim, "p2/1");

    ScratchDir dir;
    write_real_world(dir);
    plink2(dir);
    const std::vector<std::string> rest = {"--phenotypes", "pheno.tsv", "--status", "cc", "--panel", "panel.vcf",
                                           "--pedigree", "panel.ped"};
    ASSERT_EQ(prepare(dir, with({"--vcf", "study.vcf", "--out", "vcf"}, rest)).status, 0);
    ASSERT_EQ(prepare(dir, with({"--bfile", "fromvcf", "--out", "bed"}, rest)).status, 0);
    for (const char* chrom : {"1/", "2/"})
        for (const char* f : {"specification.txt", "phenotype.dat", "genotype.dat", "external.dat", "haplotype.dat",
                              "snp_names.txt"})
            EXPECT_EQ(dir.read(std::string("bed/") + chrom + f), dir.read(std::string("vcf/") + chrom + f)) << chrom << f;
    EXPECT_EQ(dir.read("bed/1/genotype.dat"), "rs1 100 0 G A 0 1 9\n1:150 150 0 T C 1 2 9\n1:400 400 0 A C 2 9 1\n");
}

// ---------------------------------------------------------------- errors

namespace {

// The run stops with "Error: " and the message, status 1, and leaves nothing in `out`.
void fails(const ScratchDir& dir, const std::vector<std::string>& args, const std::string& message) {
    const RunResult r = prepare(dir, with({"--out", "out"}, args));
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_EQ(r.out.rfind("Error: ", 0), 0u) << r.out;
    EXPECT_NE(r.out.find(message), std::string::npos) << "expected: " << message << "\nstdout: " << r.out;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
    if (fs::exists(dir.path() / "out")) {
        for (const auto& e : fs::recursive_directory_iterator(dir.path() / "out"))
            EXPECT_FALSE(e.is_regular_file()) << "left behind: " << e.path();
    }
    fs::remove_all(dir.path() / "out");
}

const std::vector<std::string> kStudy = {"--vcf", "study.vcf", "--phenotypes", "pheno.tsv", "--status", "cc"};

} // namespace

TEST(PrepareFails, CommandLine) {
    ScratchDir dir;
    write_real_world(dir);
    fails(dir, {"--vfc", "x"}, "unknown option '--vfc' (see --help)");
    fails(dir, {"--vcf"}, "--vcf needs a value");
    fails(dir, {"--phenotypes", "pheno.tsv"}, "give the study genotypes with one of --vcf and --bfile");
    fails(dir, {"--vcf", "a", "--bfile", "b"}, "give the study genotypes with one of --vcf and --bfile");
    fails(dir, {"--vcf", "study.vcf"}, "give the phenotype table with --phenotypes");
    fails(dir, {"--vcf", "study.vcf", "--phenotypes", "pheno.tsv"}, "name the response column with --status");
    fails(dir, {"--vcf", "study.vcf", "--phenotypes", "pheno.tsv", "--time", "age"},
          "a cohort study needs both --time and --event");
    fails(dir, with(kStudy, {"--panel", "panel.vcf"}), "--panel and --pedigree go together");
    fails(dir, with(kStudy, {"--model", "m.txt", "--mode", "dominant"}), "either with --model or with --design");
    fails(dir, with(kStudy, {"--region", "500-100"}), "--region '500-100': expected FROM-TO");
    fails(dir, with(kStudy, {"--design", "cohort"}), "the cohort design needs --time and --event");
}

TEST(PrepareFails, PhenotypesModelAndPedigree) {
    ScratchDir dir;
    write_real_world(dir);
    fails(dir, {"--vcf", "study.vcf", "--phenotypes", "none.tsv", "--status", "cc"}, "'none.tsv': cannot be read");
    fails(dir, {"--vcf", "study.vcf", "--phenotypes", "pheno.tsv", "--status", "status"},
          "'pheno.tsv' line 1: no column 'status' in the header");
    fails(dir, with(kStudy, {"--model", "none.txt"}), "'none.txt': cannot be read");
    dir.write("m.txt", "DESIGN = case-control\nEFFECT = G bmi\n");
    fails(dir, with(kStudy, {"--model", "m.txt"}), "'pheno.tsv' line 1: no column 'bmi' in the header");
    dir.write("m.txt", "EFFECT = G\nOUTPUT = G age\n");
    fails(dir, with(kStudy, {"--model", "m.txt"}), "'m.txt': OUTPUT: term 'age' is not among the EFFECT terms");
    dir.write("m.txt", "PANEL = 1 1 1\n");
    fails(dir, with(kStudy, {"--model", "m.txt"}), "'m.txt' line 1: PANEL is filled in");
    fails(dir, with(kStudy, {"--panel", "panel.vcf", "--pedigree", "none.fam"}), "'none.fam': cannot be read");
    dir.write("bad.fam", "F1 fa 0 0 1\n");
    fails(dir, with(kStudy, {"--panel", "panel.vcf", "--pedigree", "bad.fam"}), "'bad.fam' line 1: 5 fields");
    fails(dir, with(kStudy, {"--panel", "none.vcf", "--pedigree", "panel.ped"}), "'none.vcf': cannot be opened");
}

TEST(PrepareFails, VcfRecords) {
    ScratchDir dir;
    write_real_world(dir);
    const std::string head = "##fileformat=VCFv4.2\n##contig=<ID=1>\n"
                             "##FORMAT=<ID=GT,Number=1,Type=String,Description=\"Genotype\">\n"
                             "##FORMAT=<ID=DP,Number=1,Type=Integer,Description=\"Depth\">\n"
                             "#CHROM\tPOS\tID\tREF\tALT\tQUAL\tFILTER\tINFO\tFORMAT";
    const std::string abcd = "\tA\tB\tC\tD", rec = "1\t100\trs1\tA\tG\t.\t.\t.\t";
    const struct {
        std::string samples, body, error;
    } cases[] = {
        {abcd, rec + "GT\t0/1\t1\t0/0\t0/0\n", "'study.vcf' record 1 (1:100): haploid genotype call for sample 'B'"},
        {abcd, rec + "GT\t0/1\t0/0\t0/0\t0/1\n1\t200\trs2\tA\tG\t.\t.\t.\tGT\t0/1\t0/1/1\t0/0\t0/0\n",
         "'study.vcf' record 2 (1:200): genotype call with more than two alleles for sample 'B'"},
        {abcd, rec + "GT\t0/2\t0/0\t0/0\t0/1\n",
         "record 1 (1:100): genotype call names an allele the record does not have for sample 'A'"},
        {abcd, rec + "DP\t1\t2\t3\t4\n", "'study.vcf' record 1 (1:100): no GT genotype field"},
        {abcd, rec + "GQ\t1\t2\t3\t4\n",
         "record 1: not a valid VCF record (it uses a FORMAT or INFO field the header does not define)"},
        {abcd, "1\tx\trs1\tA\tG\t.\t.\t.\tGT\t0/1\t0/0\t0/0\t0/1\n",
         "'study.vcf' record 1: the position is not a number from 1 on"},
        {abcd, rec + "GT\t0/1\t0/0\n", "'study.vcf' record 1: not a valid VCF record (its number of columns differs"},
        {abcd, "9\t100\trs1\tA\tG\t.\t.\t.\tGT\t0/1\t0/0\t0/0\t0/1\n",
         "record 1: not a valid VCF record (its chromosome is not defined in the header)"},
        {abcd, "1\t100\trs1\tA\tAT\t.\t.\t.\tGT\t0/1\t0/0\t0/0\t0/1\n",
         "'study.vcf': no biallelic SNP to write (1 records, 0 biallelic SNPs kept; skipped: 1 indels)"},
        {"\tA\tB\tA", "", "'study.vcf': the VCF header cannot be read"},  // htslib refuses repeated samples
        {"\t\tA\tB", rec + "GT\t0/1\t0/0\t0/0\n", "'study.vcf': sample 1 of the #CHROM line has an empty name"},  // fuzzing
        {"\tA\t\tB", rec + "GT\t0/1\t0/0\t0/0\n", "'study.vcf': sample 2 of the #CHROM line has an empty name"},
        {"\tX\tY", "", "'study.vcf': none of its 2 samples has a row in 'pheno.tsv'"},
    };
    for (const auto& c : cases) {
        dir.write("study.vcf", head + c.samples + "\n" + c.body);
        fails(dir, kStudy, c.error);
    }
    dir.write("study.vcf", head.substr(0, head.size() - 7) + "\n1\t100\trs1\tA\tG\t.\t.\t.\n");
    fails(dir, kStudy, "'study.vcf': the file holds no samples");
    dir.write("study.vcf", "not a vcf\n");
    fails(dir, kStudy, "'study.vcf': not a VCF or BCF file");
    fails(dir, {"--vcf", "none.vcf", "--phenotypes", "pheno.tsv", "--status", "cc"}, "'none.vcf': cannot be opened");

    // The panel: problems there stop the run before anything is written.
    write_real_world(dir);
    dir.write("panel.vcf", head + "\tfa\n1\t100\trs1\tA\tG\t.\t.\t.\tGT\t1\n");
    fails(dir, with(kStudy, {"--panel", "panel.vcf", "--pedigree", "panel.ped"}),
          "'panel.vcf' record 1 (1:100): haploid genotype call for sample 'fa'");
    dir.write("panel.vcf", head + "\tfa\n1\t100\trs1\tA\tG\t.\t.\t.\tGT\t./.\n");
    fails(dir, with(kStudy, {"--panel", "panel.vcf", "--pedigree", "panel.ped"}),
          "nothing written: no chromosome has panel SNPs with phased haplotypes");
    // The output folder cannot be made.
    write_real_world(dir);
    dir.write("out", "a file");
    const RunResult r = prepare(dir, with(kStudy, {"--out", "out"}));
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("Error: cannot create folder 'out/1'"), std::string::npos) << r.out;
}

TEST(PrepareFails, PlinkFiles) {
    ScratchDir dir;
    write_real_world(dir);
    const std::vector<std::string> plink = {"--bfile", "s", "--phenotypes", "pheno.tsv", "--status", "cc"};
    const std::string magic = "\x6c\x1b\x01";
    auto files = [&](const std::string& fam, const std::string& bim, const std::string& bed) {
        dir.write("s.fam", fam);
        dir.write("s.bim", bim);
        dir.write("s.bed", bed);
    };
    const std::string fam = "A A 0 0 0 -9\nB B 0 0 0 -9\n";
    fails(dir, plink, "'s.fam': cannot be read");
    const struct {
        std::string fam, bim, bed, error;
    } cases[] = {
        {"A A 0 0 0\n", "", "", "'s.fam' line 1: 5 fields where a .fam line has 6"},
        {"\n", "", "", "'s.fam': the file lists no samples"},
        {"A A 0 0 0 -9\nB A 0 0 0 -9\n", "", "", "'s.fam': sample 'A' appears twice"},
        {fam, "", "xyz", "'s.bed': not a PLINK 1 .bed file (its first bytes are not 6c 1b)"},
        {fam, "", std::string("\x6c\x1b\x00", 3), "'s.bed': individual-major .bed files are not read"},
        {fam, "1 rs1 0 100 A G\n", magic, "'s.bed': 3 bytes where 1 SNPs of 2 samples take 4"},
        {fam, "1 rs1 0 100 A\n", magic + "\x0f", "'s.bim' line 1: 5 fields where a .bim line has 6"},
        {fam, "1 rs1 0 -5 A G\n", magic + "\x0f",
         "'s.bim' line 1: position '-5' is not a whole number from 1 to 2147483647"},
    };
    for (const auto& c : cases) {
        files(c.fam, c.bim, c.bed);
        fails(dir, plink, c.error);
    }
    fs::remove(dir.path() / "s.bim");
    fails(dir, plink, "'s.bim': cannot be read");
    fs::remove(dir.path() / "s.bed");
    dir.write("s.bim", "");
    fails(dir, plink, "'s.bed': cannot be opened");
}

TEST(PrepareFails, PlinkFilesThatAreRight) {
    // Codes 00 two copies of A1, 01 missing, 10 one copy, 11 none; sample A in the lowest bits.
    ScratchDir dir;
    write_real_world(dir);
    dir.write("s.fam", "x A 0 0 0 -9\nx B 0 0 0 -9\nx C 0 0 0 -9\nx D 0 0 0 -9\n");
    dir.write("s.bim", "chr1 rs1 0 100 G A\nchr1 rs2 0 200 0 A\n1 . 0 300 T C\n");
    dir.write("s.bed", std::string("\x6c\x1b\x01", 3) + std::string("\xe4\x00\x1b", 3));
    const RunResult r = prepare(dir, {"--bfile", "s", "--phenotypes", "pheno.tsv", "--status", "cc", "--out", "out"});
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(dir.read("out/1/genotype.dat"), "rs1 100 0 G A 2 9 0\n1:300 300 0 T C 0 1 2\n");
}
