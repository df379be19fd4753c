#include "driver/snpmap.h"

#include <algorithm>
#include <numeric>

#include "model/model.h"

void merge_by_position(const StudyData& study, const PanelData& panel, SnpMap& map) {
  map.clear();
  int s = 0, e = 0;
  while (s < study.nsnp && e < panel.nsnp) {
    if (panel.pos[e] < study.pos[s]) {
      map.push(MapEntry{panel.pos[e], -1, e, -1});
      e++;
    } else if (panel.pos[e] == study.pos[s]) {
      map.push(MapEntry{study.pos[s], s, e, -1});
      s++, e++;
    } else {
      map.push(MapEntry{study.pos[s], s, -1, -1});
      s++;
    }
  }
  for (; s < study.nsnp; s++) map.push(MapEntry{study.pos[s], s, -1, -1});
  for (; e < panel.nsnp; e++) map.push(MapEntry{panel.pos[e], -1, e, -1});
  map.close();
}

void map_study_only(const StudyData& study, SnpMap& map) {
  map.clear();
  for (int s = 0; s < study.nsnp; s++) map.push(MapEntry{study.pos[s], s, -1, -1});
  map.close();
}

namespace {

// Compares haplotype records (by index) with an identifier.
struct ById {
  const std::vector<std::string>& ids;
  bool operator()(int record, const std::string& id) const { return ids[record] < id; }
  bool operator()(const std::string& id, int record) const { return id < ids[record]; }
};

}  // namespace

void link_haplotypes(const PanelData& panel, SnpMap& map) {
  // Records ordered by identifier, and within one identifier by file order, so that
  // "the first record after `last` with this identifier" is a binary search.
  std::vector<int> order(static_cast<std::size_t>(panel.nhap_snp));
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    int c = panel.hap_id[a].compare(panel.hap_id[b]);
    return c != 0 ? c < 0 : a < b;
  });
  int last = -1;
  for (int i = 0; i < map.len(); i++) {
    MapEntry& m = map[i];
    m.hap = -1;
    if (m.panel < 0) continue;
    const std::string& id = panel.id[m.panel];
    auto same = std::equal_range(order.begin(), order.end(), id, ById{panel.hap_id});
    auto next = std::upper_bound(same.first, same.second, last);
    if (next != same.second) {
      m.hap = *next;
      last = *next;
    }
  }
}

void drop_unphased(SnpMap& map) {
  for (int i = 0; i < map.len(); i++)
    if (map[i].panel >= 0 && map[i].hap < 0) map[i].panel = -1;
}

bool is_monomorphic(double freq, double mode_freq, int mode) {
  if (freq < kMonomorphicLow || freq > kMonomorphicHigh) return true;
  if (mode == kRecessive || mode == kCodominant) return mode_freq < kMonomorphicLow;
  if (mode == kDominant) return mode_freq > kMonomorphicHigh;
  return false;
}

void drop_monomorphic(SnpMap& map, const StudyData& study, const PanelData& panel, int mode, int ne) {
  for (int i = 0; i < map.len(); i++) {
    MapEntry& m = map[i];
    if (ne == 0 && m.panel >= 0 && m.study < 0) {
      if (is_monomorphic(panel.freq[m.panel], panel.mode_freq[m.panel], mode)) m.panel = -1;
    } else if (m.study >= 0) {
      if (is_monomorphic(study.freq[m.study], study.mode_freq[m.study], mode)) m.study = -1;
    }
  }
}
