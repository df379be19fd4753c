#include "regional.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <set>

#include "stats.h"

namespace report {

namespace {

// The allele or genotype codes of an input line after its first `skip` fields:
// one digit each, with or without blanks between them; 9 (missing) as -1.
bool codes_after(const std::string& line, int skip, std::vector<signed char>& out, std::vector<std::string>& head) {
  head.clear();
  std::size_t i = 0;
  for (int k = 0; k < skip; k++) {
    while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) i++;
    const std::size_t start = i;
    while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i]))) i++;
    if (i == start) return false;
    head.push_back(line.substr(start, i - start));
  }
  out.clear();
  for (; i < line.size(); i++) {
    const char c = line[i];
    if (c >= '0' && c <= '2')
      out.push_back(static_cast<signed char>(c - '0'));
    else if (c == '9')
      out.push_back(-1);
    else if (!std::isspace(static_cast<unsigned char>(c)))
      return false;
  }
  return true;
}

bool whole_number(const std::string& s, long long& v) {
  if (s.empty() || s.size() > 12 || s.find_first_not_of("0123456789") != std::string::npos) return false;
  v = std::stoll(s);
  return true;
}

// Reads the lines of path whose key (from the first `skip` fields) is wanted.
template <typename KeyOf>
void read_codes(const std::string& path, int skip, KeyOf key_of, std::map<long long, std::vector<signed char>>& out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return;
  std::string line;
  long long number = 0;
  std::vector<signed char> codes;
  std::vector<std::string> head;
  while (std::getline(in, line)) {
    number++;
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    if (!codes_after(line, skip, codes, head))
      throw ReportError("Error: " + path + " line " + std::to_string(number) + ": not a line of this input file");
    long long pos = -1;
    if (key_of(head, pos)) out[pos] = codes;
  }
}

}  // namespace

bool parse_region(const std::string& text, Region& r) {
  const std::size_t colon = text.rfind(':'), dash = text.find('-', colon == std::string::npos ? 0 : colon);
  if (colon == std::string::npos || colon == 0 || dash == std::string::npos) return false;
  r.chr = text.substr(0, colon);
  return whole_number(text.substr(colon + 1, dash - colon - 1), r.from) && whole_number(text.substr(dash + 1), r.to) &&
         r.from <= r.to;
}

std::vector<Locus> choose_loci(const TermTable& t, const LocusOptions& o) {
  std::vector<Locus> loci;
  if (!o.regions.empty()) {
    for (const Region& g : o.regions) {
      Locus l{g, nullptr};
      for (const ResultRow& r : t.rows)
        if (r.usable() && chromosome_key(r.chr) == chromosome_key(g.chr) && r.pos >= g.from && r.pos <= g.to &&
            (!l.lead || r.minus_log10p > l.lead->minus_log10p))
          l.lead = &r;
      if (l.lead) loci.push_back(l);
    }
    return loci;
  }
  std::vector<const ResultRow*> order;
  for (const ResultRow& r : t.rows)
    if (r.usable()) order.push_back(&r);
  std::stable_sort(order.begin(), order.end(),
                   [](const ResultRow* a, const ResultRow* b) { return a->minus_log10p > b->minus_log10p; });
  const double level = -std::log10(kGenomeWide);
  for (const ResultRow* r : order) {
    if (o.top_loci >= 0 ? static_cast<int>(loci.size()) >= o.top_loci : r->minus_log10p < level) break;
    bool near = false;
    for (const Locus& l : loci) near = near || (l.lead->chr == r->chr && std::llabs(l.lead->pos - r->pos) <= o.flank);
    if (!near) loci.push_back({{r->chr, std::max(0LL, r->pos - o.flank), r->pos + o.flank}, r});
  }
  return loci;
}

double r_squared(const std::vector<signed char>& x, const std::vector<signed char>& y) {
  if (x.size() != y.size()) return std::nan("");
  double n = 0, sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
  for (std::size_t i = 0; i < x.size(); i++) {
    if (x[i] < 0 || y[i] < 0) continue;
    n++;
    sx += x[i];
    sy += y[i];
    sxx += x[i] * x[i];
    syy += y[i] * y[i];
    sxy += x[i] * y[i];
  }
  const double vx = n * sxx - sx * sx, vy = n * syy - sy * sy, c = n * sxy - sx * sy;
  if (!(vx > 0.0) || !(vy > 0.0)) return std::nan("");
  return std::min(1.0, c * c / (vx * vy));
}

std::vector<LdPoint> locus_ld(const TermTable& t, const Locus& l, const std::string& folder) {
  std::vector<LdPoint> points;
  std::set<long long> wanted;
  for (const ResultRow& r : t.rows)
    if (r.usable() && r.chr == l.lead->chr && r.pos >= l.region.from && r.pos <= l.region.to) {
      points.push_back({&r, std::nan(""), 0});
      wanted.insert(r.pos);
    }
  // Panel SNPs by identifier (external.dat gives their positions), then their haplotypes.
  std::map<long long, std::vector<signed char>> panel_pos, haplotypes, genotypes;
  std::map<std::string, long long> panel_id;
  read_codes(folder + "/external.dat", 4, [&](const std::vector<std::string>& h, long long& pos) {
    if (whole_number(h[1], pos) && wanted.count(pos)) panel_id[h[0]] = pos;
    return false;
  }, panel_pos);
  read_codes(folder + "/haplotype.dat", 1, [&](const std::vector<std::string>& h, long long& pos) {
    const auto it = panel_id.find(h[0]);
    if (it == panel_id.end()) return false;
    pos = it->second;
    return true;
  }, haplotypes);
  read_codes(folder + "/genotype.dat", 5, [&](const std::vector<std::string>& h, long long& pos) {
    return whole_number(h[1], pos) && wanted.count(pos) > 0;
  }, genotypes);
  const auto lead_hap = haplotypes.find(l.lead->pos), lead_geno = genotypes.find(l.lead->pos);
  for (LdPoint& p : points) {
    const auto hap = haplotypes.find(p.row->pos), geno = genotypes.find(p.row->pos);
    if (lead_hap != haplotypes.end() && hap != haplotypes.end()) {
      p.r2 = r_squared(lead_hap->second, hap->second);
      p.source = 'p';
    } else if (lead_geno != genotypes.end() && geno != genotypes.end()) {
      p.r2 = r_squared(lead_geno->second, geno->second);
      p.source = 's';
    }
    if (std::isnan(p.r2)) p.source = 0;
    if (p.row == l.lead) {
      p.r2 = 1.0;
      p.source = 'l';
    }
  }
  return points;
}

}  // namespace report
