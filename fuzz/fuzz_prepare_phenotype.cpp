// kestrova-prepare's phenotype table reader. The input's first byte chooses the
// request (response kind, PLINK coding, ID column, covariates); the rest is the
// table. A table read without error must hold one consistent entry per row.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "phenotable.h"
#include "prepare_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  using prepare::Response;
  const unsigned pick = data[0];
  prepare::TableRequest req;
  switch (pick % 3) {
    case 0: req.response = Response::Status; req.responses = {"STATUS"}; break;
    case 1: req.response = Response::TimeEvent; req.responses = {"TIME", "EVENT"}; break;
    default: req.response = Response::Trait; req.responses = {"TRAIT"}; break;
  }
  req.plinkCoding = (pick >> 2) & 1u;
  if ((pick >> 3) & 1u) req.idColumn = "ID";
  static const char* const kCovariates[] = {"AGE", "SEX", "X1", "STATUS"};
  for (int k = 0; k < 4; k++)
    if ((pick >> (4 + k)) & 1u) req.covariates.emplace_back(kCovariates[k]);

  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  const prepare::PhenotypeTable t = prepare::read_phenotype_table(text, "ph.txt", req);
  if (!t.error.empty()) {
    check_message(t.error);
    return 0;
  }
  const std::size_t n = t.ids.size();
  if (t.rows.size() != n || t.lines.size() != n || t.noResponse.size() != n || t.row.size() != n) std::abort();
  if (t.header.empty() || t.header.size() > prepare::kHeaderWidth || t.header.find('\n') != std::string::npos)
    std::abort();
  for (std::size_t i = 0; i < n; i++) {
    const auto it = t.row.find(t.ids[i]);
    if (it == t.row.end() || it->second != static_cast<int>(i) || t.ids[i].empty()) std::abort();
    if (i > 0 && t.lines[i] <= t.lines[i - 1]) std::abort();
    if (t.rows[i].find('\n') != std::string::npos) std::abort();
  }
  return 0;
}
