// The run log as a user sees it: banner, option echo, defaults, warnings and the
// existence checks, character for character apart from the two time stamps.
#include <gtest/gtest.h>

#include "support/process.h"

namespace {

const char* const kBanner =
    "\n"
    "@-------------------------------------------------@\n"
    "|    Kestrova   |  1.0.0   |  November 22, 2026   |\n"
    "---------------------------------------------------\n"
    "|          For documentation & citation           |\n"
    "| https://kestrova.example.org/docs               |\n"
    "@-------------------------------------------------@\n"
    "\n"
    "\nKestrova started: <time>\n\n";

std::string log_of(const std::vector<std::string>& args, int expected_status, const ScratchDir& dir) {
  RunResult r = run_kestrova(dir, args);
  EXPECT_EQ(r.status, expected_status);
  return without_times(r.out);
}

void write_inputs(const ScratchDir& dir) {
  for (const char* f : {"specification.txt", "phenotype.dat", "genotype.dat", "external.dat", "haplotype.dat"})
    dir.write(f, "");
}

}  // namespace

TEST(RunLog, NoArgumentsPrintsEveryDefaultAndStopsAtTheMissingSpecificationFile) {
  ScratchDir dir;
  std::string expected = std::string(kBanner) +
                         "Options in effect:\n"
                         "\nDefaults in effect:\n"
                         "        -- model specification read from 'specification.txt'\n"
                         "        -- study phenotypes read from 'phenotype.dat'\n"
                         "        -- study genotypes read from 'genotype.dat'\n"
                         "        -- external genotypes available\n"
                         "        -- external genotypes read from 'external.dat'\n"
                         "        -- phased haplotypes not available\n"
                         "        -- phased haplotypes read from 'haplotype.dat'\n"
                         "        -- results written to 'results_***.out'\n"
                         "        -- internal check and fix of strand alignment\n"
                         "        -- removal of A/T and C/G SNPs\n"
                         "        -- speeding not used\n"
                         "        -- analysis based on 4 tag SNPs\n"
                         "        -- candidate tags chosen within the distance of 50000 bp\n"
                         "        -- candidate tags chosen at a maximun number of 20\n"
                         "        -- candidate tags chosen at a minimun number of 8\n"
                         "\n"
                         "Error: 'specification.txt' does not exist.\n" +
                         kStop;
  EXPECT_EQ(log_of({}, 1, dir), expected);
}

TEST(RunLog, EveryOptionIsEchoedInOrderAndSilencesItsDefault) {
  ScratchDir dir;
  std::string expected = std::string(kBanner) +
                         "Options in effect:\n"
                         "        -- '-sfile' model specification read from 's.txt'\n"
                         "        -- '-pfile' study phenotypes read from 'p.dat'\n"
                         "        -- '-gfile' study genotypes read from 'g.dat'\n"
                         "        -- '-efile' external genotypes read from 'e.dat'\n"
                         "        -- '-h' phased haplotypes available\n"
                         "        -- '-hfile' phased haplotypes read from 'h.dat'\n"
                         "        -- '-ofile' results written to 'out_***.out'\n"
                         "        -- '-no_fix' no internal check and fix of strand alignment\n"
                         "        -- '-no_remove' no removal of unaligned A/T and C/G SNPs\n"
                         "        -- '-speed' speed up the program by ignoring SNPs not in 'phase.dat'\n"
                         "        -- '-tag' analysis based on 3 tag SNPs\n"
                         "        -- '-window' candidate tags chosen within the distance of 20000 bp\n"
                         "        -- '-max' candidate tags chosen at a maximun number of 12\n"
                         "        -- '-min' candidate tags chosen at a minimum number of 5\n"
                         "\nDefaults in effect:\n"
                         "        -- external genotypes available\n"
                         "\n"
                         "Error: 's.txt' does not exist.\n" +
                         kStop;
  EXPECT_EQ(log_of({"-sfile", "s.txt", "-pfile", "p.dat", "-gfile", "g.dat", "-efile", "e.dat", "-h", "-hfile",
                    "h.dat", "-ofile", "out", "-no_fix", "-no_remove", "-speed", "-tag", "3", "-window", "20000",
                    "-max", "12", "-min", "5"},
                   1, dir),
            expected);
}

TEST(RunLog, NoExternalPanelSkipsStrandLinesWarnsAndChecksOnlyStudyFiles) {
  ScratchDir dir;
  dir.write("specification.txt", "");
  dir.write("phenotype.dat", "");
  std::string expected = std::string(kBanner) +
                         "Options in effect:\n"
                         "        -- '-ne' no external panel available\n"
                         "\nDefaults in effect:\n"
                         "        -- model specification read from 'specification.txt'\n"
                         "        -- study phenotypes read from 'phenotype.dat'\n"
                         "        -- study genotypes read from 'genotype.dat'\n"
                         "        -- external genotypes read from 'external.dat'\n"
                         "        -- phased haplotypes not available\n"
                         "        -- phased haplotypes read from 'haplotype.dat'\n"
                         "        -- results written to 'results_***.out'\n"
                         "        -- analysis based on 4 tag SNPs\n"
                         "        -- candidate tags chosen within the distance of 50000 bp\n"
                         "        -- candidate tags chosen at a maximun number of 20\n"
                         "        -- candidate tags chosen at a minimun number of 8\n"
                         "\n"
                         "Warning: haplotype file is ignored since '-ne' is specified.\n"
                         "Error: 'genotype.dat' does not exist.\n" +
                         kStop;
  EXPECT_EQ(log_of({"-ne"}, 1, dir), expected);
}

// Repeated options are echoed each time and the last value wins; a value option
// given last and unusable tag counts are errors.
TEST(RunLog, RepeatedOptionsAndBadValues) {
  ScratchDir dir;
  const std::vector<std::string> repeated = {"-window", "100", "-window", "abc", "-sfile", "a.txt", "-sfile", "b.txt"};
  const struct {
    std::vector<std::string> args;
    std::string text;
  } cases[] = {
      {repeated,
       "        -- '-window' candidate tags chosen within the distance of 100 bp\n"
       "        -- '-window' candidate tags chosen within the distance of 0 bp\n"},
      {repeated, "Error: 'b.txt' does not exist.\n"},
      {{"-ofile"}, "        -- '-ofile' Error: Command line option '-ofile' needs a value.\n"},
      {{"-tag", "0"}, "        -- '-tag' Error: '-tag' takes a number of tag SNPs from 1 to 8, not '0'.\n"},
      {{"-tag", "9"}, "Error: '-tag' takes a number of tag SNPs from 1 to 8, not '9'."},
  };
  for (const auto& c : cases) EXPECT_NE(log_of(c.args, 1, dir).find(c.text), std::string::npos) << c.text;
}

TEST(RunLog, UnknownOptionStopsAfterEchoingTheValidOnes) {
  ScratchDir dir;
  std::string expected = std::string(kBanner) +
                         "Options in effect:\n"
                         "        -- '-ne' no external panel available\n"
                         "        -- '-min' candidate tags chosen at a minimum number of 3\n"
                         "        -- '-bogus' Error: Unknown command line option '-bogus'.\n" +
                         kStop;
  EXPECT_EQ(log_of({"-ne", "-min", "3", "-bogus", "-h"}, 1, dir), expected);
}

// --help, -help and --version answer before the banner; a value of a value-taking
// option is still only a value, and other unknown options still stop the run.
TEST(RunLog, HelpAndVersionPrintBeforeAnyBanner) {
  ScratchDir dir;
  for (const char* help : {"--help", "-help"}) {
    const RunResult r = run_kestrova(dir, {"-ne", help});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("Usage: kestrova [option ...]\n", 0), 0u) << r.out;
    for (const char* option : {"-sfile", "-ne", "-speed", "-tag", "-threads", "-from", "-to", "-diag", "--version"})
      EXPECT_NE(r.out.find(std::string("\n  ") + option + " "), std::string::npos) << option;
    EXPECT_EQ(r.out.find("Kestrova started"), std::string::npos);
  }
  const RunResult v = run_kestrova(dir, {"--version"});
  EXPECT_EQ(v.status, 0);
  EXPECT_EQ(v.out.rfind("kestrova 1.0.0", 0), 0u) << v.out;
  EXPECT_EQ(log_of({"-ofile", "--help", "--helpme"}, 1, dir),
            std::string(kBanner) +
                "Options in effect:\n"
                "        -- '-ofile' results written to '--help_***.out'\n"
                "        -- '--helpme' Error: Unknown command line option '--helpme'.\n" +
                kStop);
}

TEST(RunLog, MissingFilesAreReportedInOrderOnlyTheFirst) {
  ScratchDir dir;
  write_inputs(dir);
  const char* order[] = {"haplotype.dat", "external.dat", "genotype.dat", "phenotype.dat", "specification.txt"};
  for (const char* f : order) {
    std::filesystem::remove(dir.path() / f);
    std::string log = log_of({}, 1, dir);
    EXPECT_NE(log.find(std::string("\nError: '") + f + "' does not exist.\n" + kStop), std::string::npos) << f;
    EXPECT_EQ(log.find("Warning"), std::string::npos);
  }
}
