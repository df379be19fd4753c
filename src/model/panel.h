// The external reference panel (genotypes of trios, duos and singletons, one byte
// per code) with its phased haplotypes, and the merged map of study and panel SNPs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct PanelData {
  int ncol = 0;  // panel columns: 3 per trio, 2 per duo, 1 per singleton
  int nsnp = 0;
  std::vector<std::string> id;
  std::vector<int> pos;
  std::vector<char> a1, a2;
  std::vector<double> freq, mode_freq;
  std::vector<std::uint8_t> geno;  // nsnp rows of ncol codes (0, 1, 2, 9 missing)
  const std::uint8_t* genotypes(int snp) const { return geno.data() + static_cast<std::size_t>(snp) * ncol; }

  int nhap = 0;      // phased haplotype columns
  int nhap_snp = 0;  // phased haplotype records
  std::vector<std::string> hap_id;
  std::vector<std::uint8_t> hap;  // nhap_snp rows of nhap alleles (1 = first allele)
  const std::uint8_t* haplotypes(int rec) const { return hap.data() + static_cast<std::size_t>(rec) * nhap; }
};

// One SNP of the merged map: indexes of its study SNP, panel SNP and phased
// haplotype record, each -1 when absent.
struct MapEntry {
  int pos = 0;
  int study = -1;
  int panel = -1;
  int hap = -1;
};

inline constexpr int kLeftSentinel = -300000000;
inline constexpr int kRightSentinel = 300000000;

// Entries 0..len-1 in position order, with sentinel entries at -1 and len so that
// the tag search can run off either end.
class SnpMap {
 public:
  void clear() { e_.assign(1, MapEntry{kLeftSentinel, -1, -1, -1}); }
  void push(const MapEntry& m) { e_.push_back(m); }
  void close() { e_.push_back(MapEntry{kRightSentinel, -1, -1, -1}); }
  int len() const { return static_cast<int>(e_.size()) - 2; }
  MapEntry& operator[](int i) { return e_[static_cast<std::size_t>(i + 1)]; }
  const MapEntry& operator[](int i) const { return e_[static_cast<std::size_t>(i + 1)]; }

 private:
  std::vector<MapEntry> e_{MapEntry{kLeftSentinel, -1, -1, -1}};
};
