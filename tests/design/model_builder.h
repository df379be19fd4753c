// Test helpers: a Model put together from covariate names and model terms as
// read_header would leave it, and a StudyData over given columns.
#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/model.h"
#include "model/study.h"

namespace testmodel {

class Builder {
 public:
  Builder(int design, int mode, const std::vector<std::string>& covariates,
          const std::vector<std::string>& genetic = {"G"}) {
    m_.design = design;
    m_.mode = mode;
    m_.p = static_cast<int>(covariates.size());
    m_.pH = static_cast<int>(genetic.size());
    m_.names = covariates;
    m_.names.insert(m_.names.end(), genetic.begin(), genetic.end());
    m_.dep.assign(covariates.size(), 'I');
    m_.categorical.assign(covariates.size(), 0);
  }
  Builder& categorical(const std::string& name) {
    m_.categorical[static_cast<std::size_t>(at(name))] = 1;
    return *this;
  }
  Builder& dependent(const std::string& name) {
    m_.dep[static_cast<std::size_t>(at(name))] = 'D';
    return *this;
  }
  // A term in EFFECT (level 1) or also in OUTPUT (level 2); a product with b given.
  Builder& term(const std::string& a, int level = 1) { return term(a, a, level); }
  Builder& term(const std::string& a, const std::string& b, int level = 1) {
    const int i = at(a), j = at(b);
    m_.effect[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = level;
    m_.effect[static_cast<std::size_t>(j)][static_cast<std::size_t>(i)] = level;
    return *this;
  }
  // Terms as an EFFECT line writes them ("A C G A*G"), or as OUTPUT names them.
  Builder& effect(const std::string& line) { return terms(line, 1); }
  Builder& output(const std::string& line) { return terms(line, 2); }
  Model model() const { return m_; }

 private:
  Builder& terms(const std::string& line, int level) {
    std::istringstream words(line);
    for (std::string t; words >> t;) {
      const std::size_t star = t.find('*');
      if (star == std::string::npos)
        term(t, level);
      else
        term(t.substr(0, star), t.substr(star + 1), level);
    }
    return *this;
  }
  int at(const std::string& name) const {
    for (std::size_t i = 0; i < m_.names.size(); i++)
      if (m_.names[i] == name) return static_cast<int>(i);
    throw std::invalid_argument("no effect named " + name);
  }
  Model m_;
};

// A study of n subjects with the given covariate columns and one SNP.
inline StudyData make_study(const std::vector<std::vector<double>>& columns, const std::vector<int>& genotypes) {
  StudyData s;
  s.n = s.n_total = static_cast<int>(genotypes.size());
  s.p = static_cast<int>(columns.size());
  s.cov.assign(static_cast<std::size_t>(s.n) * static_cast<std::size_t>(s.p), 0.0);
  for (int i = 0; i < s.n; i++)
    for (int k = 0; k < s.p; k++)
      s.cov[static_cast<std::size_t>(i * s.p + k)] = columns[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)];
  s.nsnp = 1;
  for (int g : genotypes) s.geno.push_back(static_cast<std::uint8_t>(g));
  s.STATUS.assign(static_cast<std::size_t>(s.n), 0);
  s.TIME.assign(static_cast<std::size_t>(s.n), 1.0);
  s.EVENT.assign(static_cast<std::size_t>(s.n), 0);
  s.TRAIT.assign(static_cast<std::size_t>(s.n), 0.0);
  return s;
}

}  // namespace testmodel
