#include "driver/panel_input.h"

#include <array>
#include <new>

#include "driver/allele_freq.h"
#include "driver/fatal.h"
#include "driver/snp_fields.h"
#include "model/study.h"
#include "driver/tokenizer.h"

namespace {

// What one SNP costs besides its codes: identifier, position, letters, frequencies.
constexpr double kBytesPerSnp = sizeof(std::string) + sizeof(int) + 2 + 2 * sizeof(double);

// The messages name a code `what` ("Genotype"), several `plural` ("genotypes"), its
// column `column` ("in panel column") and what it should be `expected`.
struct CodeWords {
  const char* what;
  const char* plural;
  const char* column;
  const char* expected;
};
const CodeWords kPanelCodes{"Genotype", "genotypes", "in panel column", "0, 1, 2 or 9 (missing)"};
const CodeWords kHaplotypeCodes{"Allele", "alleles", "of haplotype", "0 or 1"};

// Which characters a code may be, by character value.
using CodeSet = std::array<bool, 256>;
constexpr CodeSet code_set(const char* chars) {
  CodeSet set{};
  for (const char* c = chars; *c != '\0'; c++) set[static_cast<unsigned char>(*c)] = true;
  return set;
}
constexpr CodeSet kPanelCodeSet = code_set("0129");
constexpr CodeSet kHaplotypeCodeSet = code_set("01");

// Reads `count` single-character codes into out, each the next non-blank
// character, which must be in `allowed`; nothing but blanks may follow.
std::string read_codes(Words& words, int count, std::uint8_t* out, const CodeSet& allowed, const CodeWords& t,
                       int ln, const char* file) {
  // A local copy of the cursor: the byte stores below could otherwise alias it.
  const char* p = words.pos();
  const char* const end = words.end();
  for (int c = 0; c < count; c++) {
    while (p < end && is_blank(*p)) p++;
    if (p == end)
      return format("Error: Line %d of '%s' has %d %s; %d expected as on its first line.\n", ln, file, c, t.plural,
                    count);
    char ch = *p++;
    if (!allowed[static_cast<unsigned char>(ch)])
      return format("Error: %s '%c' %s %d on line %d of '%s' is not %s.\n", t.what, ch, t.column, c + 1, ln, file,
                    t.expected);
    out[c] = static_cast<std::uint8_t>(ch - '0');
  }
  words.pos() = p;
  int extra = words.count_chars();
  if (extra > 0)
    return format("Error: Line %d of '%s' has %d %s; %d expected as on its first line.\n", ln, file, count + extra,
                  t.plural, count);
  return "";
}

std::string panel_lines(const std::string& efile, const Model& model, PanelData& panel) {
  LineReader in;
  if (!in.open(efile)) return format("Error: '%s' does not exist.\n", efile.c_str());
  const char* file = efile.c_str();

  // First pass: the column count from the first line, and the number of SNPs.
  std::string_view line;
  int nsnp = 0, ncol = 0;
  while (in.next(line)) {
    if (!has_word(line)) continue;
    if (nsnp++ == 0) {
      Words words(line);
      std::string_view skip;
      char letter = 0;
      words.next(skip);
      words.next(skip);
      words.next_char(letter);
      words.next_char(letter);
      ncol = words.count_chars();
    }
  }
  if (in.failed()) return read_failure(in, efile);
  // Counted wide: PANEL counts come from the user and may be negative or huge.
  const long long expected = 3LL * model.nTR + 2LL * model.nDU + model.nUN;
  if (model.nTR < 0 || model.nDU < 0 || model.nUN < 0 || ncol != expected)
    return format("'PANEL' information does not match with '%s'\n", file);
  in.rewind();

  panel.ncol = ncol;
  panel.nsnp = nsnp;
  panel.id.assign(nsnp, std::string());
  panel.pos.assign(nsnp, 0);
  panel.a1.assign(nsnp, ' ');
  panel.a2.assign(nsnp, ' ');
  panel.freq.assign(nsnp, 0.0);
  panel.mode_freq.assign(nsnp, 0.0);
  panel.geno.assign(static_cast<std::size_t>(nsnp) * ncol, 0);

  return read_records(in, nsnp, efile, [&](Words& words, int ln, int snp) {
    if (std::string e = read_snp_id(words, panel.id[snp], ln, file); !e.empty()) return e;
    if (std::string e = read_position(words, panel.pos[snp], ln, file); !e.empty()) return e;
    if (std::string e = read_letters(words, panel.a1[snp], panel.a2[snp], ln, file); !e.empty()) return e;
    std::uint8_t* out = panel.geno.data() + static_cast<std::size_t>(snp) * ncol;
    if (std::string e = read_codes(words, ncol, out, kPanelCodeSet, kPanelCodes, ln, file); !e.empty()) return e;
    AlleleSummary s = summarise_alleles(out, ncol, model.mode);
    panel.freq[snp] = s.freq;
    panel.mode_freq[snp] = s.mode_freq;
    return std::string();
  });
}

std::string haplotype_lines(const std::string& hfile, PanelData& panel) {
  LineReader in;
  if (!in.open(hfile)) return format("Error: '%s' does not exist.\n", hfile.c_str());
  const char* file = hfile.c_str();

  std::string_view line;
  int nrec = 0, nhap = 0;
  while (in.next(line)) {
    if (!has_word(line)) continue;
    if (nrec++ == 0) {
      Words words(line);
      std::string_view skip;
      words.next(skip);
      nhap = words.count_chars();
    }
  }
  if (in.failed()) return read_failure(in, hfile);
  in.rewind();

  panel.nhap = nhap;
  panel.nhap_snp = nrec;
  panel.hap_id.assign(nrec, std::string());
  panel.hap.assign(static_cast<std::size_t>(nrec) * nhap, 0);

  return read_records(in, nrec, hfile, [&](Words& words, int ln, int rec) {
    if (std::string e = read_snp_id(words, panel.hap_id[rec], ln, file); !e.empty()) return e;
    std::uint8_t* out = panel.hap.data() + static_cast<std::size_t>(rec) * nhap;
    return read_codes(words, nhap, out, kHaplotypeCodeSet, kHaplotypeCodes, ln, file);
  });
}

}  // namespace

std::string read_panel(const std::string& efile, const Model& model, PanelData& panel) {
  try {
    return panel_lines(efile, model, panel);
  } catch (const std::bad_alloc&) {
    return not_enough_memory(efile, format("the panel genotypes of %d SNPs by %d columns", panel.nsnp, panel.ncol),
                             static_cast<double>(panel.nsnp) * (static_cast<double>(panel.ncol) + kBytesPerSnp));
  }
}

std::string read_haplotypes(const std::string& hfile, PanelData& panel) {
  try {
    return haplotype_lines(hfile, panel);
  } catch (const std::bad_alloc&) {
    return not_enough_memory(hfile, format("the haplotypes of %d SNPs by %d columns", panel.nhap_snp, panel.nhap),
                             static_cast<double>(panel.nhap_snp) * (static_cast<double>(panel.nhap) + sizeof(std::string)));
  }
}
