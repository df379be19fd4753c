#include "driver/study_input.h"

#include <cmath>
#include <limits>
#include <new>

#include "driver/allele_freq.h"
#include "driver/fatal.h"
#include "driver/snp_fields.h"
#include "driver/tokenizer.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Truncation toward zero of a status or event value; false when it leaves the int range.
bool truncate_to_int(double v, int& out) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return false;
  out = static_cast<int>(v);
  return true;
}

// What one SNP costs besides its genotypes: identifier, position, flags, frequencies.
constexpr double kBytesPerSnp = sizeof(std::string) + 3 * sizeof(int) + 2 + 3 * sizeof(double);

std::string phenotype_lines(const std::string& pfile, const Model& model, StudyData& study) {
  LineReader in;
  if (!in.open(pfile)) return format("Error: '%s' does not exist.\n", pfile.c_str());
  const int responses = model.design == kCohort ? 2 : 1;
  const int columns = responses + model.p;

  study = StudyData{};
  study.p = model.p;
  std::vector<double> values(static_cast<std::size_t>(columns));
  // Covariates whose absence excludes an individual: the main effects of the model.
  std::vector<char> required(static_cast<std::size_t>(model.p));
  for (int k = 0; k < model.p; k++) required[k] = model.effect[k][k] == 1 || model.effect[k][k] == 2;

  std::string_view line;
  bool header = false;
  while (!header && in.next(line)) header = has_word(line);
  while (in.next(line)) {
    if (!has_word(line)) continue;
    Words words(line);
    std::string_view word;
    int count = 0;
    while (words.next(word)) {
      if (count < columns) {
        double v = 0.0;
        values[count] = parse_number(word, v) ? v : kNaN;
      }
      count++;
    }
    if (count != columns)
      return format("Error: Line %d of '%s' has %d columns; %d expected.\n", in.line_number(), pfile.c_str(), count,
                    columns);
    study.n_total++;

    bool use = true;
    for (int c = 0; c < responses; c++) use = use && !std::isnan(values[c]);
    for (int k = 0; k < model.p; k++) use = use && !(required[k] && std::isnan(values[responses + k]));
    study.used.push_back(use ? 1 : 0);
    if (!use) continue;
    study.n++;

    int whole = 0;
    switch (model.design) {
      case kCaseControl:
        if (!truncate_to_int(values[0], whole))
          return format("Error: Line %d of '%s' has status %g, too large for an integer.\n", in.line_number(),
                        pfile.c_str(), values[0]);
        study.STATUS.push_back(whole);
        break;
      case kCohort:
        if (!truncate_to_int(values[1], whole))
          return format("Error: Line %d of '%s' has event %g, too large for an integer.\n", in.line_number(),
                        pfile.c_str(), values[1]);
        study.TIME.push_back(values[0]);
        study.EVENT.push_back(whole);
        break;
      default:
        study.TRAIT.push_back(values[0]);
        break;
    }
    study.cov.insert(study.cov.end(), values.begin() + responses, values.end());
  }
  if (in.failed()) return read_failure(in, pfile);
  study.STATUS.shrink_to_fit();
  study.TIME.shrink_to_fit();
  study.EVENT.shrink_to_fit();
  study.TRAIT.shrink_to_fit();
  study.cov.shrink_to_fit();
  study.used.shrink_to_fit();
  return "";
}

}  // namespace

void order_dependent_first(Model& model, StudyData& study) {
  const int p = model.p;
  const int count = model.p + model.pH;
  // from[k]: the file-order index of the name that goes to place k.
  std::vector<int> from;
  for (char kind : {'D', 'I'})
    for (int k = 0; k < p; k++)
      if ((model.dep[k] == 'D') == (kind == 'D')) from.push_back(k);
  for (int k = p; k < count; k++) from.push_back(k);

  Model old = model;
  for (int k = 0; k < p; k++) {
    model.names[k] = old.names[from[k]];
    model.categorical[k] = old.categorical[from[k]];
    model.dep[k] = old.dep[from[k]];
  }
  for (int a = 0; a < count; a++)
    for (int b = 0; b < count; b++) model.effect[a][b] = old.effect[from[a]][from[b]];

  std::vector<double> row(static_cast<std::size_t>(p));
  for (int i = 0; i < study.n; i++) {
    double* r = study.cov.data() + static_cast<std::size_t>(i) * p;
    for (int k = 0; k < p; k++) row[k] = r[from[k]];
    std::copy(row.begin(), row.end(), r);
  }
}

namespace {

// One code per individual of the phenotype file, each 0, 1, 2 or 9, after which
// nothing but blanks may follow; the codes of the used individuals go to out.
// Kept out of line: inlined into the record loop, the compiler makes the hot
// loop slower (about 10% more instructions).
[[gnu::noinline]] std::string read_genotype_codes(Words& words, const char* used, int n_total, std::uint8_t* out,
                                                  int ln, const char* file) {
  // A local copy of the cursor: the byte stores below could otherwise alias it.
  const char* p = words.pos();
  const char* const end = words.end();
  for (int i = 0; i < n_total; i++) {
    // Most codes are one of 0, 1, 2 between single blanks.
    if (end - p >= 3 && p[0] == ' ' && p[2] == ' ') {
      unsigned digit = static_cast<unsigned char>(p[1]) - unsigned{'0'};
      if (digit <= 2) {
        if (used[i]) *out++ = static_cast<std::uint8_t>(digit);
        p += 2;
        continue;
      }
    }
    while (p < end && is_blank(*p)) p++;
    if (p == end)
      return format("Error: Line %d of '%s' has %d genotypes; %d expected, one per individual in the phenotype "
                    "file.\n",
                    ln, file, i, n_total);
    const char* start = p;
    while (p < end && !is_blank(*p)) p++;
    const std::string_view w(start, static_cast<std::size_t>(p - start));
    int code = 0;
    if (!parse_int(w, code))
      return format("Error: Genotype '%s' of individual %d on line %d of '%s' is not an integer.\n",
                    shown(w).c_str(), i + 1, ln, file);
    if (code != 0 && code != 1 && code != 2 && code != kMissingGenotype)
      return format("Error: Genotype %d of individual %d on line %d of '%s' is not 0, 1, 2 or 9 (missing).\n", code,
                    i + 1, ln, file);
    if (used[i]) *out++ = static_cast<std::uint8_t>(code);
  }
  words.pos() = p;
  if (!words.at_end())
    return format("Error: Line %d of '%s' has %d genotypes; %d expected, one per individual in the phenotype "
                  "file.\n",
                  ln, file, n_total + words.count_words(), n_total);
  return "";
}

std::string genotype_lines(const std::string& gfile, int mode, StudyData& study, const std::vector<char>* keep) {
  LineReader in;
  if (!in.open(gfile)) return format("Error: '%s' does not exist.\n", gfile.c_str());
  const char* file = gfile.c_str();

  // First pass: the number of SNPs, so that every array is sized exactly.
  std::string_view line;
  int nsnp = 0;
  while (in.next(line)) nsnp += has_word(line);
  if (in.failed()) return read_failure(in, gfile);
  in.rewind();

  const std::size_t n = static_cast<std::size_t>(study.n);
  study.nsnp = nsnp;
  study.id.assign(nsnp, std::string());
  study.pos.assign(nsnp, 0);
  study.strand.assign(nsnp, 0);
  study.a1.assign(nsnp, ' ');
  study.a2.assign(nsnp, ' ');
  study.freq.assign(nsnp, 0.0);
  study.missing.assign(nsnp, 0.0);
  study.mode_freq.assign(nsnp, 0.0);
  std::size_t rows = static_cast<std::size_t>(nsnp);
  study.row.clear();
  if (keep) {
    study.row.assign(nsnp, -1);
    rows = 0;
    for (int s = 0; s < nsnp && s < static_cast<int>(keep->size()); s++)
      if ((*keep)[s]) study.row[s] = static_cast<int>(rows++);
  }
  study.geno.clear();
  study.geno.shrink_to_fit();
  study.geno.assign(rows * n, 0);
  std::vector<std::uint8_t> scratch(keep ? n : 0);

  return read_records(in, nsnp, gfile, [&](Words& words, int ln, int snp) {
    if (std::string e = read_snp_id(words, study.id[snp], ln, file); !e.empty()) return e;
    if (std::string e = read_position(words, study.pos[snp], ln, file); !e.empty()) return e;

    std::string_view word;
    int value = 0;
    if (!words.next(word)) return format("Error: Line %d of '%s' has no strand flag.\n", ln, file);
    if (!parse_int(word, value))
      return format("Error: Strand flag '%s' on line %d of '%s' is not an integer.\n", shown(word).c_str(), ln,
                    file);
    study.strand[snp] = value;

    if (std::string e = read_letters(words, study.a1[snp], study.a2[snp], ln, file); !e.empty()) return e;

    const int r = keep ? study.row[snp] : snp;
    std::uint8_t* out = r >= 0 ? study.geno.data() + static_cast<std::size_t>(r) * n : scratch.data();
    if (std::string e = read_genotype_codes(words, study.used.data(), study.n_total, out, ln, file); !e.empty())
      return e;

    AlleleSummary s = summarise_alleles(out, study.n, mode);
    study.freq[snp] = s.freq;
    study.missing[snp] = static_cast<double>(study.n - s.typed) / study.n;
    study.mode_freq[snp] = s.mode_freq;
    return std::string();
  });
}

}  // namespace

std::string read_phenotypes(const std::string& pfile, const Model& model, StudyData& study) {
  try {
    return phenotype_lines(pfile, model, study);
  } catch (const std::bad_alloc&) {
    const int columns = (model.design == kCohort ? 2 : 1) + model.p;
    const double individuals = study.n_total + 1.0;
    return not_enough_memory(pfile, format("the phenotypes of %.0f individuals by %d columns", individuals, columns),
                             individuals * (static_cast<double>(columns) * sizeof(double) + 2 * sizeof(int) + 1));
  }
}

std::string read_genotypes(const std::string& gfile, int mode, StudyData& study, const std::vector<char>* keep) {
  try {
    return genotype_lines(gfile, mode, study, keep);
  } catch (const std::bad_alloc&) {
    return not_enough_memory(gfile, format("the genotypes of %d SNPs by %d individuals", study.nsnp, study.n),
                             static_cast<double>(study.nsnp) * (static_cast<double>(study.n) + kBytesPerSnp));
  }
}
