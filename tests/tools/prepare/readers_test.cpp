// The readers of kestrova-prepare, in-process: phenotype table, pedigree and
// the choice of trios, duos and singletons, the site filter, the model.
#include <gtest/gtest.h>

#include "model.h"
#include "pedigree.h"
#include "phenotable.h"
#include "sites.h"
#include "sources.h"
#include "support/process.h"

#include <string>
#include <vector>

using namespace prepare;

namespace {

TableRequest status_request(std::vector<std::string> covariates = {}) {
    TableRequest r;
    r.response = Response::Status;
    r.responses = {"STATUS"};
    r.covariates = std::move(covariates);
    return r;
}

// Time and event columns T and E, samples named in column "sample".
TableRequest cohort_request() {
    TableRequest r;
    r.response = Response::TimeEvent;
    r.responses = {"T", "E"};
    r.idColumn = "sample";
    return r;
}

// The table's error message, which must name the file.
std::string table_error(const std::string& text, const TableRequest& r) {
    const PhenotypeTable t = read_phenotype_table(text, "ph.txt", r);
    EXPECT_EQ(t.error.rfind("'ph.txt'", 0), 0u) << t.error;
    return t.error;
}

} // namespace

TEST(PhenotypeTable, PlinkStyleColumnsBlanksTabsAndMissingWords) {
    // FID IID as PLINK writes them, the covariates in the order asked for, not the table's.
    const std::string text = "#FID IID AGE STATUS SEX\r\nf1 a 50 1 2\r\n\r\nf2  b\t. 0 NA\nf3 c 61.5 NA 1";
    const PhenotypeTable t = read_phenotype_table(text, "ph.txt", status_request({"SEX", "AGE"}));
    ASSERT_EQ(t.error, "");
    EXPECT_EQ(t.header, "STATUS SEX AGE");
    EXPECT_EQ(t.ids, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(t.rows, (std::vector<std::string>{"1 2 50", "0 NA NA", "NA 1 61.5"}));
    EXPECT_EQ(t.lines, (std::vector<int>{2, 4, 5}));
}

TEST(PhenotypeTable, TabsCommasPlinkCodingAndOtherResponses) {
    TableRequest plink = status_request({"AGE"}), trait;
    plink.plinkCoding = true;
    trait.response = Response::Trait;
    trait.responses = {"BMI"};
    const struct {
        std::string text;
        TableRequest request;
        std::vector<std::string> rows;
    } cases[] = {
        {"IID\tSTATUS\tAGE\nx\t1\t\ny\t\t33\n", status_request({"AGE"}), {"1 NA", "NA 33"}},  // empty fields kept
        {"IID,STATUS,AGE\nx, 1 ,\n", status_request({"AGE"}), {"1 NA"}},
        {"IID STATUS AGE\na 2 -9\nb 1 40\nc 0 41\nd -9 42\n", plink, {"1 NA", "0 40", "NA 41", "NA 42"}},
        {"IID STATUS AGE\na 1 -9\n", status_request({"AGE"}), {"1 -9"}},  // without PLINK coding -9 is a number
        {"sample T E\ns1 3.25 1\ns2 1e1 0\n", cohort_request(), {"3.25 1", "1e1 0"}},
        {"IID BMI\nq 2\n", trait, {"2"}},  // a trait may take any value
    };
    for (const auto& c : cases) {
        const PhenotypeTable t = read_phenotype_table(c.text, "ph.txt", c.request);
        EXPECT_EQ(t.error, "") << c.text;
        EXPECT_EQ(t.rows, c.rows) << c.text;
    }
}

TEST(PhenotypeTable, EveryProblemIsNamedWithItsLine) {
    const TableRequest r = status_request({"AGE"});
    TableRequest plink = r, numeric = r;
    plink.plinkCoding = true;
    numeric.responses = {"1"};
    numeric.covariates = {};
    const std::string longName(30, 'W');
    std::vector<std::string> many;
    std::string head = "IID STATUS";
    for (int i = 0; i < 41; ++i) {
        many.push_back(std::string(1, 'C').append(std::to_string(i)));
        head += ' ' + many.back();
    }
    const std::vector<std::string> thirty(many.begin(), many.begin() + 30);
    const struct {
        std::string text;
        TableRequest request;
        std::string error;
    } cases[] = {
        {"", r, "the file is empty"},
        {"ID STATUS AGE\n", r, "line 1: no sample ID column 'IID' in the header; name the ID column with --id"},
        {"IID STATUS\n", r, "line 1: no column 'AGE'"},
        {"IID STATUS AGE AGE\n", r, "'AGE' appears twice in the header"},
        {"IID STATUS AGE\na 1\n", r, "line 2: 2 fields where the header names 3"},
        {"IID STATUS AGE\na 1 5\nb 0 6\na 1 7\n", r, "line 4: sample ID 'a' appears again (first on line 2)"},
        {"IID STATUS AGE\nNA 1 5\n", r, "line 2: the sample ID is missing"},
        {"IID STATUS AGE\na 1 old\n", r, "line 2: value 'old' of sample 'a' in column 'AGE' is neither"},
        {"IID STATUS AGE\na 3 1\n", r, "status '3'"},
        {"IID STATUS AGE\na 2 -9\n", r, "status '2' of sample 'a' in column 'STATUS' is not 0 or 1 (for PLINK"},
        {"sample T E\ns1 3 2\n", cohort_request(), "event '2'"},
        {"IID STATUS AGE\na 3 1\n", plink, "is not 1 (control), 2 (case) or 0/-9"},
        {"IID STATUS " + longName + "\n", status_request({longName}), "longer than 29"},
        {"IID STATUS\n", status_request({"IID"}), "is the sample ID column"},
        {"IID STATUS\n", status_request({"STATUS"}), "named twice"},
        {"IID 1\n", numeric, "is a number; rename it"},
        {head + "\n", status_request(many), "41 covariates; at most 40"},
        {head + "\n", status_request(thirty), "more than the 99 the analysis reads"},
    };
    for (const auto& c : cases) EXPECT_NE(table_error(c.text, c.request).find(c.error), std::string::npos) << c.error;
    for (const char* v : {"inf", "nan", "0x1A", "1e", "1e999", "+", "1.2.3", "--1"})
        EXPECT_NE(table_error(std::string("IID STATUS AGE\na 1 ") + v + "\n", r).find(std::string("'") + v + "'"),
                  std::string::npos) << v;
    EXPECT_EQ(read_phenotype_table("IID STATUS AGE\na 1 +.5e-3\nb 0 -7.\n", "ph.txt", r).error, "");
}

// ---------------------------------------------------------------- pedigree and families

namespace {

PanelFamilies families(const std::string& fam, const std::vector<std::string>& vcf) {
    const Pedigree p = read_pedigree(fam, "p.fam");
    EXPECT_EQ(p.error, "");
    return choose_families(p, vcf);
}

} // namespace

TEST(PanelFamilies, TriosThenDuosThenSingletonsInVcfOrder) {
    const std::string fam =
        "A fa 0 0 1 -9\nA mo 0 0 2 -9\nA kid fa mo 1 -9\n"  // trio
        "B p 0 0 1 -9\nB q 0 0 2 -9\nB c p q 2 -9\n"        // q is not in the VCF: duo p, c
        "C lone 0 0 1 -9\n"
        "D x 0 0 1 -9\nD y 0 0 2 -9\nD z x y 2 -9\n";       // both parents absent: z a singleton
    const std::vector<std::string> vcf = {"lone", "c", "kid", "z", "mo", "p", "fa", "stranger"};
    const PanelFamilies f = families(fam, vcf);
    EXPECT_EQ(f.trios, 1);
    EXPECT_EQ(f.duos, 1);
    EXPECT_EQ(f.singletons, 3);
    // trio: father, mother, child; duo: parent, child; then singletons in VCF order.
    EXPECT_EQ(f.column, (std::vector<int>{6, 4, 2, 5, 1, 0, 3, 7}));
    EXPECT_EQ(f.founders, (std::vector<int>{6, 4, 5, 0, 3, 7}));
    EXPECT_EQ(f.notInPedigree, 1);
    EXPECT_EQ(f.leftOut, 0);
    EXPECT_EQ(f.pedigreeOnly, 3);  // q, x, y
}

TEST(PanelFamilies, NobodyTwiceAndNoTwoRelativesAmongTheUnits) {
    // Three generations and a second child: the first trio by VCF order of the
    // child is taken; every relative of it is left out, also as a singleton.
    const std::string fam =
        "F g1 0 0 1 -9\nF g2 0 0 2 -9\nF dad g1 g2 1 -9\nF mum 0 0 2 -9\nF k1 dad mum 1 -9\nF k2 dad mum 2 -9\n"
        "H s1 0 0 1 -9\nH s2 0 0 2 -9\nH sib1 s1 s2 1 -9\nH sib2 s1 s2 1 -9\n";  // siblings, parents absent
    const std::vector<std::string> vcf = {"g1", "g2", "dad", "mum", "k1", "k2", "sib1", "sib2"};
    const PanelFamilies f = families(fam, vcf);
    EXPECT_EQ(f.trios, 1);
    EXPECT_EQ(f.duos, 0);
    EXPECT_EQ(f.singletons, 1);
    EXPECT_EQ(f.column, (std::vector<int>{0, 1, 2, 6}));  // g1 g2 dad; sib1 alone
    EXPECT_EQ(f.leftOut, 4);                               // mum, k1, k2, sib2
}

TEST(PanelFamilies, PedigreeProblems) {
    auto error = [](const std::string& text) { return read_pedigree(text, "p.fam").error; };
    EXPECT_EQ(error("A a 0 0 1\n"), "'p.fam' line 1: 5 fields; a pedigree line holds family ID, person, father, mother, sex and phenotype");
    EXPECT_EQ(error("A a 0 0 1 -9\n\nA a 0 0 1 -9\n"), "'p.fam' line 3: person 'a' appears again (first on line 1)");
    EXPECT_EQ(error("A a a 0 1 -9\n"), "'p.fam' line 1: person 'a' is named as their own parent");
    EXPECT_EQ(error("A a b b 1 -9\n"), "'p.fam' line 1: person 'a' has the same father and mother");
    EXPECT_EQ(error("A 0 0 0 1 -9\n"), "'p.fam' line 1: person ID '0' (it means an unknown parent)");
    EXPECT_EQ(error("\n\n"), "'p.fam': the pedigree lists nobody");
    // A .ped line: the first six columns are read, the genotypes after them ignored.
    EXPECT_EQ(error("A a 0 0 1 -9 A G C C\r\n"), "");
}

// ---------------------------------------------------------------- sites

TEST(Sites, AllelesChromosomeNamesAndLetters) {
    const std::string_view g = "G", ag = "AG", gc[2] = {"G", "C"}, del = "<DEL>", star = "*", n = "N";
    EXPECT_EQ(classify_alleles("A", &g, 1), Skip::None);
    EXPECT_EQ(classify_alleles("a", &g, 1), Skip::None);
    EXPECT_EQ(classify_alleles("A", nullptr, 0), Skip::NoAlt);
    EXPECT_EQ(classify_alleles("A", gc, 2), Skip::MultiAllelic);
    EXPECT_EQ(classify_alleles("A", &ag, 1), Skip::Indel);
    EXPECT_EQ(classify_alleles("A", &del, 1), Skip::Symbolic);
    EXPECT_EQ(classify_alleles("A", &star, 1), Skip::Symbolic);
    EXPECT_EQ(classify_alleles("A", &n, 1), Skip::OtherLetters);
    EXPECT_EQ(chromosome_key("chr1"), "1");
    EXPECT_EQ(chromosome_key("23"), "X");
    EXPECT_EQ(chromosome_key("chrM"), "MT");
    EXPECT_EQ(chromosome_key("chr"), "chr");
}

namespace {

struct Rec {
    const char* chrom;
    long long pos;
    const char* id;
    Skip alleles = Skip::None;
};

// Runs records through the filter; the kept SNPs as "chrom pos id" lines.
std::vector<std::string> filtered(const std::vector<Rec>& recs, SiteCounts& counts) {
    std::vector<std::string> out;
    SiteFilter f(Selection{}, [&](Kept& k) { out.push_back(k.key + " " + std::to_string(k.pos) + " " + k.id + (k.originalId.empty() ? "" : " was " + k.originalId)); });
    for (const Rec& r : recs)
        if (f.check(r.chrom, r.pos, r.alleles) == Skip::None) {
            f.name(r.id);
            f.hold();
        }
    f.finish();
    counts = f.counts();
    return out;
}

} // namespace

TEST(Sites, DuplicatesUnsortedAndRenamedIdentifiers) {
    const std::string longId(30, 'r');
    SiteCounts c;
    const std::vector<std::string> kept = filtered(
        {{"1", 100, "rs1"},
         {"1", 200, "rs2"},
         {"1", 200, "rs2b"},                    // repeated position: both go
         {"1", 300, "rs3", Skip::Indel},        // an indel beside a SNP at the same position
         {"1", 300, "."},                       // is not a repeat
         {"1", 250, "rs4"},                     // out of order
         {"1", 400, longId.c_str()},
         {"1", 500, "rs1"},                     // identifier already used
         {"chr2", 50, "rs9"},
         {"1", 600, "rs6"}},                    // chromosome 1 again after 2
        c);
    EXPECT_EQ(kept, (std::vector<std::string>{"1 100 rs1", "1 300 1:300 was .", "1 400 1:400 was " + longId,
                                              "1 500 1:500 was rs1", "2 50 rs9"}));
    EXPECT_EQ(c.records, 10u);
    EXPECT_EQ(c.kept, 5u);
    EXPECT_EQ(c.duplicate, 2u);
    EXPECT_EQ(c.indel, 1u);
    EXPECT_EQ(c.unsorted, 2u);
    EXPECT_EQ(c.renamed, 3u);
    // --chr and --region: RealWorldShapedInputAndItsReport in prepare_test.cpp.
}

// ---------------------------------------------------------------- model

TEST(Model, ModelFileTextAndDefaults) {
    ModelRequest m;
    m.categorical = {"SEX"};
    EXPECT_EQ(covariates_of(m), (std::vector<std::string>{"SEX"}));
    m.effect = {"G", "AGE", "G*SEX", "SEX"};
    EXPECT_EQ(covariates_of(m), (std::vector<std::string>{"AGE", "SEX"}));
    ASSERT_EQ(check_model(m, Response::Status, {"AGE", "SEX"}), "");
    const int panel[3] = {2, 1, 5};
    EXPECT_EQ(model_file_text(m, panel),
              "DESIGN = case-control\nPANEL = 2 1 5\nMODE = additive\nCATEGORICAL = SEX\nEFFECT = G AGE G*SEX SEX\n"
              "OUTPUT = G\n");
    ModelRequest d;
    ASSERT_EQ(check_model(d, Response::TimeEvent, {"X1"}), "");
    EXPECT_EQ(model_file_text(d, nullptr), "DESIGN = cohort\nMODE = additive\nEFFECT = G X1\nOUTPUT = G\n");
}

TEST(Model, EveryNameIsChecked) {
    auto request = [](const char* design, const char* mode, std::vector<std::string> categorical,
                      std::vector<std::string> dependent, std::vector<std::string> effect,
                      std::vector<std::string> output) {
        ModelRequest m;
        if (*design) m.design = design;
        if (*mode) m.mode = mode;
        m.categorical = std::move(categorical);
        m.dependent = std::move(dependent);
        if (!effect.empty()) m.effect = std::move(effect);
        if (!output.empty()) m.output = std::move(output);
        return m;
    };
    const struct {
        ModelRequest m;
        std::string error;
    } cases[] = {
        {request("cohort", "", {}, {}, {}, {}), "the cohort design needs --time and --event to name its response column"},
        {request("twin", "", {}, {}, {}, {}), "unknown design 'twin' (case-control, cohort, cross-sectional)"},
        {request("", "additiv", {}, {}, {}, {}), "unknown mode 'additiv' (additive, recessive, dominant, codominant)"},
        {request("", "", {"BMI"}, {}, {}, {}), "CATEGORICAL: 'BMI' is not one of the covariates (AGE SEX)"},
        {request("", "", {}, {"SEX", "SEX"}, {}, {}), "DEPENDENT: 'SEX' is named twice"},
        {request("", "", {}, {}, {"G", "BMI"}, {}), "EFFECT: 'BMI' is neither G nor a covariate"},
        {request("", "", {}, {}, {"G", "G"}, {}), "EFFECT: term 'G' is named twice"},
        {request("", "", {}, {}, {"AGE*G"}, {}), "EFFECT: write 'AGE*G' as G*AGE (or list G before it)"},
        {request("", "", {}, {}, {"G*BMI"}, {}), "EFFECT: 'BMI' in 'G*BMI' is neither G nor a covariate"},
        {request("", "", {}, {}, {"G*AGE*SEX"}, {}), "EFFECT: 'G*AGE*SEX' is not a product of two terms"},
        {request("", "", {}, {}, {"AGE*AGE"}, {}), "EFFECT: 'AGE*AGE' multiplies a term by itself"},
        {request("", "", {}, {}, {"G", "SEX*AGE"}, {"AGE*SEX", "G"}), ""},  // a product in either order
        {request("", "", {}, {}, {"G", "SEX*AGE"}, {"AGE"}), "OUTPUT: term 'AGE' is not among the EFFECT terms"},
        {request("", "", {}, {}, {"G", "SEX*AGE"}, {"G", "G"}), "OUTPUT: term 'G' is named twice"},
    };
    for (auto c : cases) EXPECT_EQ(check_model(c.m, Response::Status, {"AGE", "SEX"}), c.error);
}

TEST(Model, ModelFileKeywordLines) {
    ModelRequest m;
    EXPECT_EQ(read_model_file("# model\nDESIGN = cohort\n\nEFFECT = G AGE\nEFFECT G*AGE\r\nOUTPUT = G G*AGE\nMODE dominant\n",
                              "m.txt", m),
              "");
    EXPECT_EQ(m.design, "cohort");
    EXPECT_EQ(m.mode, "dominant");
    EXPECT_EQ(m.effect, (std::vector<std::string>{"G", "AGE", "G*AGE"}));
    EXPECT_EQ(m.output, (std::vector<std::string>{"G", "G*AGE"}));
    EXPECT_EQ(read_model_file("PANEL = 1 2 3\n", "m.txt", m),
              "'m.txt' line 1: PANEL is filled in from the panel and the pedigree; leave it out");
    EXPECT_EQ(read_model_file("EFFECTS = G\n", "m.txt", m),
              "'m.txt' line 1: unknown keyword 'EFFECTS' (DESIGN, MODE, CATEGORICAL, DEPENDENT, EFFECT, OUTPUT)");
    EXPECT_EQ(read_model_file("\nOUTPUT =\n", "m.txt", m), "'m.txt' line 2: OUTPUT has no value");
    EXPECT_EQ(read_model_file("MODE = a b\n", "m.txt", m), "'m.txt' line 1: MODE takes one value");
}

// A fuzz finding: a header with an empty contig and NUL bytes, then records with an
// empty chromosome and a lower-case ALT. Whatever the source reports of it must keep
// its contract: a kept SNP has a chromosome and two different upper-case letters.
TEST(VcfSource, KeepsItsContractOnBrokenInput) {
    ScratchDir dir;
    const char bytes[] = "##fileformat=VCFv4.2\n##contig=<ID=\n##I,N/py\n"
                         "#CHROM\tPOS\tID\tREF\tALT\tQUAL\tFILTER\tINFO\tFORMAT\ta\t\0\0\0\0" "1>\n"
                         "\0\0\0\0\0" "c\n1\t10\trs1\tA\tt";
    dir.write("f.vcf", std::string(bytes, sizeof bytes - 1));
    VcfSource src;
    ASSERT_TRUE(src.open((dir.path() / "f.vcf").string()));
    while (src.next()) {
        EXPECT_FALSE(src.chrom.empty());
        if (src.alleles == Skip::None) {
            EXPECT_TRUE(std::string("ACGT").find(src.first) != std::string::npos && src.first != src.second);
        }
    }
    EXPECT_EQ(src.error.rfind("'", 0), 0u) << src.error;
}
