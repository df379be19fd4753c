// The input stage through the real program: the count lines of the run log, and
// every malformed input stopping the run with its own error line and status 1.
#include <gtest/gtest.h>

#include "support/process.h"

namespace {

const char* const kModelFile = "DESIGN = case-control\nPANEL = 1 0 1\nEFFECT = G AGE\nOUTPUT = G\n";
const char* const kPhenotypes = "STATUS AGE\n1 30\n0 NA\nNA 40\n1 50\n0 60\n";
const char* const kGenotypes =
    "rs1 100 0 A G 0 1 2 1 0\n"
    "rs2 200 1 C\tG 1 1 9 2 1\n"
    "rs3 300 0 A  T 0 0 0 0 1\n";
const char* const kPanel =
    "rs1 100 A G 0120\n"
    "rs5 150 A G 0 1 2 1\n"
    "rs3 300 A T 2 2 2 2\n";
const char* const kHaplotypes = "rs1 0101\nrs5 1100\n";

void write_inputs(const ScratchDir& dir) {
  dir.write("specification.txt", kModelFile);
  dir.write("phenotype.dat", kPhenotypes);
  dir.write("genotype.dat", kGenotypes);
  dir.write("external.dat", kPanel);
  dir.write("haplotype.dat", kHaplotypes);
}

// The run log after the blank line that ends the defaults block.
std::string after_defaults(const std::string& out) {
  std::size_t at = out.find("\nDefaults in effect:\n");
  at = out.find("\n\n", at + 1);
  return at == std::string::npos ? out : out.substr(at + 2);
}

// Runs on the inputs with `name` replaced by `text` and expects the run to stop
// with exactly `error` as its last line before the stop message.
void fails(const std::string& name, const std::string& text, const std::string& error) {
  ScratchDir dir;
  write_inputs(dir);
  dir.write(name, text);
  RunResult r = run_kestrova(dir, {});
  EXPECT_EQ(r.status, 1) << name << ":\n" << text;
  EXPECT_TRUE(ends_with(r.out, error + kStop)) << name << ":\n" << text << "\n" << r.out;
  EXPECT_EQ(r.err, "");
}

}  // namespace

TEST(InputRun, CountLinesOfTheRunLog) {
  const std::string study = "5 individuals read from 'phenotype.dat', 3 used in analysis\n"
                            "3 SNPs and 5 individuals read from 'genotype.dat'\n";
  const std::string panel = "3 SNPs, 1 trios, 0 duos and 1 singletons read from 'external.dat'\n"
                            "2 SNPs, 1 trios, 0 duos, and 1 singletons read from 'haplotype.dat'\n";
  const std::string done = "\nKestrova complete: <time>\n";
  ScratchDir dir;
  write_inputs(dir);
  EXPECT_EQ(without_times(after_defaults(run_kestrova(dir, {}).out)), study + panel + done);

  // Without the panel only the study is read.
  dir.write("external.dat", "garbage that would not parse\n");
  const RunResult r = run_kestrova(dir, {"-ne"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(without_times(after_defaults(r.out)),
            "Warning: haplotype file is ignored since '-ne' is specified.\n" + study + done);
}

TEST(InputRun, EachMalformedInputStopsTheRunNamingFileAndLine) {
  const std::string kOnePerIndividual = "; 5 expected, one per individual in the phenotype file.\n";
  const std::string kAsFirst = " expected as on its first line.\n";
  const struct {
    const char* file;
    std::string text;
    std::string error;
  } cases[] = {
      {"specification.txt", "DESIGN = case-control\nEFFECT = G\nOUTPUT = AGE\n",
       "\nError: 'AGE' in OUTPUT is not in EFFECT.\n"},
      {"phenotype.dat", "STATUS AGE\n1 30\n\n0\n", "Error: Line 4 of 'phenotype.dat' has 1 columns; 2 expected.\n"},
      {"phenotype.dat", "STATUS AGE\n1 30 4\n", "Error: Line 2 of 'phenotype.dat' has 3 columns; 2 expected.\n"},
      {"phenotype.dat", "STATUS AGE\n1e12 30\n",
       "Error: Line 2 of 'phenotype.dat' has status 1e+12, too large for an integer.\n"},
      {"phenotype.dat", "STATUS AGE\nNA 30\n1 NA\n",
       "2 individuals read from 'phenotype.dat', 0 used in analysis\n"
       "Error: No individual of 'phenotype.dat' can be used in the analysis.\n"},
      {"genotype.dat", "rs1 100 0 A G 0 1 2 1 0\n\nrs2 200 0 A G 0 1 2 1\n",
       "Error: Line 3 of 'genotype.dat' has 4 genotypes" + kOnePerIndividual},
      {"genotype.dat", "rs1 100 0 A G 0 1 2 1 0 1\n", "Error: Line 1 of 'genotype.dat' has 6 genotypes" + kOnePerIndividual},
      {"genotype.dat", "rs1 100 0 A G\n", "Error: Line 1 of 'genotype.dat' has 0 genotypes" + kOnePerIndividual},
      {"genotype.dat", "rs1 100 0 A G 0 1 NA 1 0\n",
       "Error: Genotype 'NA' of individual 3 on line 1 of 'genotype.dat' is not an integer.\n"},
      {"genotype.dat", "rs1 100 0 A G 0 1.0 2 1 0\n",
       "Error: Genotype '1.0' of individual 2 on line 1 of 'genotype.dat' is not an integer.\n"},
      {"genotype.dat", "rs1 100 0 A G 0 1 2 1 3\n",
       "Error: Genotype 3 of individual 5 on line 1 of 'genotype.dat' is not 0, 1, 2 or 9 (missing).\n"},
      {"genotype.dat", "rs1 100 0 A G 0 1 2 -1 0\n",
       "Error: Genotype -1 of individual 4 on line 1 of 'genotype.dat' is not 0, 1, 2 or 9 (missing).\n"},
      {"genotype.dat", "rs1 1e5 0 A G 0 1 2 1 0\n",
       "Error: Position '1e5' on line 1 of 'genotype.dat' is not an integer.\n"},
      {"genotype.dat", "rs1 300000000 0 A G 0 1 2 1 0\n",
       "Error: Position 300000000 on line 1 of 'genotype.dat' is out of range (-299999999 to 299999999).\n"},
      {"genotype.dat", "rs1 100 x A G 0 1 2 1 0\n",
       "Error: Strand flag 'x' on line 1 of 'genotype.dat' is not an integer.\n"},
      {"genotype.dat", "rs1\n", "Error: Line 1 of 'genotype.dat' has no position.\n"},
      {"genotype.dat", "rs1 100\n", "Error: Line 1 of 'genotype.dat' has no strand flag.\n"},
      {"genotype.dat", "rs1 100 0 A\n", "Error: Line 1 of 'genotype.dat' has no allele letters.\n"},
      {"genotype.dat", "identifier-of-exactly-30-chars 100 0 A G 0 1 2 1 0\n",
       "Error: SNP identifier 'identifier-of-exactly-30-chars' on line 1 of 'genotype.dat' is longer than 29 "
       "characters.\n"},
      // PANEL = 1 0 1 asks for 4 columns; this line holds 5. The message has no "Error: ".
      {"external.dat", "rs1 100 A G 01201\nrs5 150 A G 0121\n",
       "3 SNPs and 5 individuals read from 'genotype.dat'\n'PANEL' information does not match with 'external.dat'\n"},
      {"external.dat", "rs1 100 A G 0120\nrs5 150 A G 0 1 2\n",
       "Error: Line 2 of 'external.dat' has 3 genotypes; 4" + kAsFirst},
      {"external.dat", "rs1 100 A G 0120\n\nrs5 150 A G 0 1 2 10\n",
       "Error: Line 3 of 'external.dat' has 5 genotypes; 4" + kAsFirst},
      {"external.dat", "rs1 100 A G 0120\nrs5 150 A G 0 1 2 -\n",
       "Error: Genotype '-' in panel column 4 on line 2 of 'external.dat' is not 0, 1, 2 or 9 (missing).\n"},
      {"external.dat", "rs1 100 A G 0125\n",
       "Error: Genotype '5' in panel column 4 on line 1 of 'external.dat' is not 0, 1, 2 or 9 (missing).\n"},
      {"external.dat", "rs1 1.5 A G 0120\n", "Error: Position '1.5' on line 1 of 'external.dat' is not an integer.\n"},
      {"haplotype.dat", "rs1 0101\nrs5 110\n", "Error: Line 2 of 'haplotype.dat' has 3 alleles; 4" + kAsFirst},
      {"haplotype.dat", "rs1 0101\nrs5 1109\n",
       "Error: Allele '9' of haplotype 4 on line 2 of 'haplotype.dat' is not 0 or 1.\n"},
      // Found by fuzzing the panel reader: PANEL counts whose column count overflows
      // an int, and negative counts that add up to the panel's 4 columns.
      {"specification.txt", "DESIGN = case-control\nPANEL = 715827883 1 1\nEFFECT = G AGE\nOUTPUT = G\n",
       "'PANEL' information does not match with 'external.dat'\n"},
      {"specification.txt", "DESIGN = case-control\nPANEL = -2 4 2\nEFFECT = G AGE\nOUTPUT = G\n",
       "'PANEL' information does not match with 'external.dat'\n"},
      // A word of any length is shown by its first 40 characters.
      {"genotype.dat", "rs" + std::string(100000, '7') + " 100 0 A G 0 1 2 1 0\n",
       "Error: SNP identifier 'rs" + std::string(38, '7') + "...' on line 1 of 'genotype.dat' is longer than 29 "
       "characters.\n"},
      {"phenotype.dat", "STATUS " + std::string(5000, 'A') + "\n1 30\n",
       "Error: Column name '" + std::string(40, 'A') + "...' in 'phenotype.dat' is longer than 29 characters.\n"},
  };
  for (const auto& c : cases) fails(c.file, c.text, c.error);
}
