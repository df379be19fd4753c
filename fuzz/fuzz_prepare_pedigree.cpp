// kestrova-prepare's pedigree reader and the choice of the panel's families. The
// input's first byte chooses which pedigree people the panel VCF holds, in which
// order, and whether it holds people absent from the pedigree; the rest is the
// pedigree. The units chosen must use each VCF sample at most once.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "pedigree.h"
#include "prepare_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const unsigned pick = data[0];
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  const prepare::Pedigree ped = prepare::read_pedigree(text, "panel.fam");
  if (!ped.error.empty()) {
    check_message(ped.error);
    return 0;
  }
  if (ped.people.empty()) std::abort();
  for (std::size_t i = 0; i < ped.people.size(); i++) {
    const prepare::Person& q = ped.people[i];
    if (q.iid.empty() || q.iid == "0" || q.line < 1 || (i > 0 && q.line <= ped.people[i - 1].line)) std::abort();
  }

  // The panel VCF's samples: every (pick % 4 + 1)-th person, maybe reversed, maybe
  // with strangers; VCF sample names are unique.
  std::vector<std::string> samples;
  std::unordered_set<std::string> seen;
  const std::size_t step = pick % 4 + 1;
  for (std::size_t i = 0; i < ped.people.size(); i += step)
    if (seen.insert(ped.people[i].iid).second) samples.push_back(ped.people[i].iid);
  if ((pick >> 2) & 1u) samples.assign(samples.rbegin(), samples.rend());
  if ((pick >> 3) & 1u)
    for (const char* s : {"stranger1", "stranger2"})
      if (seen.insert(s).second) samples.insert(samples.begin() + static_cast<long>(samples.size() / 2), s);
  if (samples.empty()) return 0;

  const prepare::PanelFamilies f = prepare::choose_families(ped, samples);
  const std::size_t n = samples.size();
  if (f.trios < 0 || f.duos < 0 || f.singletons < 0 || f.notInPedigree < 0 || f.leftOut < 0 || f.pedigreeOnly < 0)
    std::abort();
  if (f.column.size() != static_cast<std::size_t>(3 * f.trios + 2 * f.duos + f.singletons)) std::abort();
  std::vector<char> used(n, 0);
  for (int c : f.column) {
    if (c < 0 || static_cast<std::size_t>(c) >= n || used[static_cast<std::size_t>(c)]) std::abort();
    used[static_cast<std::size_t>(c)] = 1;
  }
  std::vector<char> founder(n, 0);
  for (int c : f.founders) {
    if (c < 0 || static_cast<std::size_t>(c) >= n || !used[static_cast<std::size_t>(c)] ||
        founder[static_cast<std::size_t>(c)])
      std::abort();
    founder[static_cast<std::size_t>(c)] = 1;
  }
  if (f.column.size() + static_cast<std::size_t>(f.leftOut) > n) std::abort();
  return 0;
}
