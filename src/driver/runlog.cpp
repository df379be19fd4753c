#include "driver/runlog.h"

#include <cctype>
#include <climits>
#include <ctime>

#include "driver/fatal.h"
#include "kestrova_version.h"

namespace {

const char* const kVersion = KESTROVA_VERSION;
const char* const kReleaseDate = "November 22, 2026";
const char* const kDocumentation = "https://kestrova.example.org/docs";

enum class Kind { kSwitch, kText, kNumber, kThreads, kPosition };

struct OptionRow {
  const char* name;
  Kind kind;
  const char* usage;  // the line of --help: value, meaning and default
  const char* echo;   // follows the "        -- '<option>' " prefix
  std::string RunSettings::*text;
  int RunSettings::*number;  // switch set to 1, or the number stored
  long long RunSettings::*position = nullptr;
};

// The options in matching order; the index of a row is its slot in OptionsGiven.
const OptionRow kOptions[kOptionCount] = {
    {"-sfile", Kind::kText, "FILE  model specification file (default specification.txt)",
     "model specification read from '%s'\n", &RunSettings::sfile, nullptr},
    {"-pfile", Kind::kText, "FILE  study phenotype file (default phenotype.dat)", "study phenotypes read from '%s'\n",
     &RunSettings::pfile, nullptr},
    {"-gfile", Kind::kText, "FILE  study genotype file (default genotype.dat)", "study genotypes read from '%s'\n",
     &RunSettings::gfile, nullptr},
    {"-ne", Kind::kSwitch, "  no external panel: only the study's own SNPs are analysed",
     "no external panel available\n", nullptr, &RunSettings::ne},
    {"-efile", Kind::kText, "FILE  external panel genotype file (default external.dat)",
     "external genotypes read from '%s'\n", &RunSettings::efile, nullptr},
    {"-h", Kind::kSwitch, "  phased haplotypes available (they always are)", "phased haplotypes available\n", nullptr,
     nullptr},
    {"-hfile", Kind::kText, "FILE  phased haplotype file (default haplotype.dat)", "phased haplotypes read from '%s'\n",
     &RunSettings::hfile, nullptr},
    {"-ofile", Kind::kText, "PREFIX  results written to PREFIX_<term>.out (default results)",
     "results written to '%s_***.out'\n", &RunSettings::ofile, nullptr},
    {"-no_fix", Kind::kSwitch, "  no check and fix of strand alignment",
     "no internal check and fix of strand alignment\n", nullptr, &RunSettings::no_fix},
    {"-no_remove", Kind::kSwitch, "  keep A/T and C/G SNPs whose strand cannot be told",
     "no removal of unaligned A/T and C/G SNPs\n", nullptr, &RunSettings::no_remove},
    {"-speed", Kind::kSwitch, "  ignore panel SNPs without phased haplotypes (always in force)",
     "speed up the program by ignoring SNPs not in 'phase.dat'\n", nullptr, nullptr},
    {"-tag", Kind::kNumber, "N  analysis based on N tag SNPs, 1 to 8 (default 4)", "analysis based on %d tag SNPs\n",
     nullptr, &RunSettings::M},
    {"-window", Kind::kNumber, "BP  candidate tags chosen within this distance (default 50000)",
     "candidate tags chosen within the distance of %d bp\n", nullptr, &RunSettings::window},
    {"-max", Kind::kNumber, "N  candidate tags chosen at a maximum number of N (default 20)",
     "candidate tags chosen at a maximun number of %d\n", nullptr, &RunSettings::maxnum},
    {"-min", Kind::kNumber, "N  candidate tags chosen at a minimum number of N (default 8)",
     "candidate tags chosen at a minimum number of %d\n", nullptr, &RunSettings::minnum},
    {"-threads", Kind::kThreads, "N  SNPs analysed side by side by N threads (default: the cores allowed)",
     "analysis run by %d threads\n", nullptr, &RunSettings::threads},
    {"-from", Kind::kPosition, "BP  only SNPs at or after this position are analysed (default: all)",
     "SNPs analysed from position %lld bp\n", nullptr, nullptr, &RunSettings::from},
    {"-to", Kind::kPosition, "BP  only SNPs at or before this position are analysed (default: all)",
     "SNPs analysed up to position %lld bp\n", nullptr, nullptr, &RunSettings::to},
    {"-diag", Kind::kText, "FILE  diagnostics file, one row per SNP (default: none)",
     "diagnostics of every analysis written to '%s'\n", &RunSettings::diag, nullptr},
};

inline constexpr long long kMaxThreads = 1024;
inline constexpr long long kMaxPosition = 1000000000000LL;

// A whole number from 0 to limit written in decimal digits only, or -1.
long long strict_count(const char* text, long long limit) {
  if (*text == '\0') return -1;
  long long value = 0;
  for (const char* s = text; *s; s++) {
    if (!std::isdigit(static_cast<unsigned char>(*s))) return -1;
    value = value * 10 + (*s - '0');
    if (value > limit) return -1;
  }
  return value;
}

enum Slot { kSfile, kPfile, kGfile, kNe, kEfile, kH, kHfile, kOfile, kNoFix, kNoRemove, kSpeed, kTag, kWindow, kMax, kMin };

void print_time_line(std::FILE* out, const char* fmt) {
  std::time_t now = std::time(nullptr);
  std::fprintf(out, fmt, std::ctime(&now));
}

}  // namespace

int plain_int(const char* text) {
  const char* s = text;
  while (std::isspace(static_cast<unsigned char>(*s))) s++;
  bool negative = false;
  if (*s == '+' || *s == '-') negative = (*s++ == '-');
  long long value = 0;
  while (std::isdigit(static_cast<unsigned char>(*s))) {
    if (value < static_cast<long long>(INT_MAX) + 1) value = value * 10 + (*s - '0');
    s++;
  }
  if (negative) value = -value;
  if (value > INT_MAX) value = INT_MAX;
  if (value < INT_MIN) value = INT_MIN;
  return static_cast<int>(value);
}

void print_banner(std::FILE* out) {
  std::fprintf(out, "\n");
  std::fprintf(out, "@-------------------------------------------------@\n");
  std::fprintf(out, "|    Kestrova   |%-10s|%-22s|\n", (std::string("  ") + kVersion).c_str(),
               (std::string("  ") + kReleaseDate).c_str());
  std::fprintf(out, "---------------------------------------------------\n");
  std::fprintf(out, "|          For documentation & citation           |\n");
  std::fprintf(out, "| %-47s |\n", kDocumentation);
  std::fprintf(out, "@-------------------------------------------------@\n\n");
}

void print_start_time(std::FILE* out) { print_time_line(out, "\nKestrova started: %s\n"); }

void print_complete_time(std::FILE* out) { print_time_line(out, "\nKestrova complete: %s"); }

std::string parse_command_line(int argc, const char* const* argv, RunSettings& settings, OptionsGiven& given,
                               std::FILE* out) {
  std::fprintf(out, "Options in effect:\n");
  for (int a = 1; a < argc; a++) {
    const char* arg = argv[a];
    std::fprintf(out, "        -- '%s' ", arg);
    int slot = -1;
    for (int k = 0; k < kOptionCount; k++) {
      if (std::string(arg) == kOptions[k].name) {
        slot = k;
        break;
      }
    }
    if (slot < 0) return format("Error: Unknown command line option '%s'.\n", arg);
    const OptionRow& row = kOptions[slot];
    given[static_cast<std::size_t>(slot)] = true;
    if (row.kind == Kind::kSwitch) {
      if (row.number) settings.*row.number = 1;  // -h and -speed: always in force, nothing to set
      std::fputs(row.echo, out);
      continue;
    }
    if (a + 1 >= argc) return format("Error: Command line option '%s' needs a value.\n", arg);
    const char* value = argv[++a];
    if (row.kind == Kind::kText) {
      settings.*row.text = value;
      std::fprintf(out, row.echo, value);
      continue;
    }
    if (row.kind == Kind::kThreads) {
      const long long n = strict_count(value, kMaxThreads);
      if (n < 1)
        return format("Error: '%s' takes a number of threads from 1 to %lld, not '%s'.\n", arg, kMaxThreads, value);
      settings.*row.number = static_cast<int>(n);
      std::fprintf(out, row.echo, static_cast<int>(n));
      continue;
    }
    if (row.kind == Kind::kPosition) {
      const long long pos = strict_count(value, kMaxPosition);
      if (pos < 0) return format("Error: '%s' takes a base-pair position, not '%s'.\n", arg, value);
      settings.*row.position = pos;
      std::fprintf(out, row.echo, pos);
      continue;
    }
    int number = plain_int(value);
    if (slot == kTag) {
      if (number < kMinTags || number > kMaxTags)
        return format("Error: '-tag' takes a number of tag SNPs from %d to %d, not '%s'.\n", kMinTags, kMaxTags,
                      value);
      settings.M = number + 1;
    } else {
      settings.*row.number = number;
    }
    std::fprintf(out, row.echo, number);
  }
  if (settings.from > settings.to)
    return format("Error: '-from' position %lld lies beyond '-to' position %lld.\n", settings.from, settings.to);
  return "";
}

void print_defaults(const RunSettings& s, const OptionsGiven& given, std::FILE* out) {
  auto line = [&](bool condition, const char* fmt, const char* text = nullptr) {
    if (!condition) return;
    std::fputs("        -- ", out);
    if (text)
      std::fprintf(out, fmt, text);
    else
      std::fputs(fmt, out);
  };
  auto number_line = [&](bool condition, const char* fmt, int value) {
    if (condition) {
      std::fputs("        -- ", out);
      std::fprintf(out, fmt, value);
    }
  };
  std::fprintf(out, "\nDefaults in effect:\n");
  line(!given[kSfile], "model specification read from '%s'\n", s.sfile.c_str());
  line(!given[kPfile], "study phenotypes read from '%s'\n", s.pfile.c_str());
  line(!given[kGfile], "study genotypes read from '%s'\n", s.gfile.c_str());
  line(!given[kNe], "external genotypes available\n");
  line(!given[kEfile], "external genotypes read from '%s'\n", s.efile.c_str());
  line(!given[kH], "phased haplotypes not available\n");
  line(!given[kHfile], "phased haplotypes read from '%s'\n", s.hfile.c_str());
  line(!given[kOfile], "results written to '%s_***.out'\n", s.ofile.c_str());
  line(!given[kNe] && !given[kNoFix], "internal check and fix of strand alignment\n");
  line(!given[kNe] && !given[kNoRemove], "removal of A/T and C/G SNPs\n");
  line(!given[kNe] && !given[kSpeed], "speeding not used\n");  // phased haplotypes are always taken
  number_line(!given[kTag], "analysis based on %d tag SNPs\n", s.M - 1);
  number_line(!given[kWindow], "candidate tags chosen within the distance of %d bp\n", s.window);
  number_line(!given[kMax], "candidate tags chosen at a maximun number of %d\n", s.maxnum);
  number_line(!given[kMin], "candidate tags chosen at a minimun number of %d\n", s.minnum);
  std::fprintf(out, "\n");
}

std::string check_input_files(const RunSettings& s, std::FILE* out) {
  if (s.ne == 1) std::fprintf(out, "Warning: haplotype file is ignored since '-ne' is specified.\n");
  std::string names[5] = {s.sfile, s.pfile, s.gfile, s.efile, s.hfile};
  const int checked = s.ne ? 3 : 5;
  for (int k = 0; k < checked; k++) {
    std::FILE* f = std::fopen(names[k].c_str(), "r");
    if (!f) return format("Error: '%s' does not exist.\n", names[k].c_str());
    std::fclose(f);
  }
  return "";
}

bool print_help_or_version(int argc, const char* const* argv, std::FILE* out) {
  for (int a = 1; a < argc; a++) {
    const std::string arg = argv[a];
    if (arg == "--help" || arg == "-help") {
      std::fprintf(out,
                   "Usage: kestrova [option ...]\n\n"
                   "Tests association between SNPs and a disease or trait when genotypes are missing\n"
                   "for some study subjects or for all of them. Run it in the folder that holds the\n"
                   "input files; the run log goes to standard output, one result file per OUTPUT term.\n\n"
                   "Options:\n");
      // Each usage text is the value's name, two blanks, then what the option does.
      for (const OptionRow& row : kOptions) {
        const std::string usage = row.usage;
        const std::size_t gap = usage.find("  ");
        const std::string head = std::string(row.name) + " " + usage.substr(0, gap);
        std::fprintf(out, "  %-18s %s\n", head.c_str(), usage.substr(usage.find_first_not_of(' ', gap)).c_str());
      }
      std::fprintf(out, "  %-18s %s\n  %-18s %s\n", "--help", "this text (also -help)", "--version",
                   "the version and the commit it was built from");
      std::fprintf(out, "\nExit status: 0 after a complete run, 1 after any error.\n");
      return true;
    }
    if (arg == "--version") {
      std::fprintf(out, "kestrova %s\n", KESTROVA_VERSION_TEXT);
      return true;
    }
    // A value-taking option consumes the next argument, whatever it looks like.
    for (const OptionRow& row : kOptions)
      if (arg == row.name && row.kind != Kind::kSwitch) {
        a++;
        break;
      }
  }
  return false;
}
