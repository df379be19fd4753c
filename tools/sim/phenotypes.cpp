// Study sample, covariates and responses (see phenotypes.h).
#include "phenotypes.h"

#include "random.h"

#include <cmath>
#include <string>

namespace sim {

namespace {

constexpr double kDecimals5 = 100000.0;
// Stop screening when a disease is too rare to fill the case quota.
constexpr std::uint64_t kMaxScreened = 100000000;

long long round_units(double v, double scale) { return static_cast<long long>(std::floor(v * scale + 0.5)); }

// One population member's covariates and response draws.
struct Person {
    int g = 0;
    std::vector<long long> x;
    std::vector<int> c;
    double eta = 0.0;    // linear predictor without intercept
    double u = 0.0;      // uniform for a binary response
    double e1 = 0.0;     // standard exponentials for the failure and censoring times
    double e2 = 0.0;
    double z = 0.0;      // standard normal for a continuous trait
};

class Population {
public:
    Population(const Options& opt, const Genome& g) : opt_(opt), g_(g) {}

    Person person(std::uint64_t k) const {
        Person p;
        const int c = g_.causal;
        p.g = g_.allele_at(g_.haplotype_base(2 * k), c) + g_.allele_at(g_.haplotype_base(2 * k + 1), c);
        Stream rng(opt_.seed, kTagPerson, k);
        const double gt = genotype_term(opt_.mode, p.g);
        p.eta = opt_.effect * gt;
        p.x.resize(opt_.covariates);
        for (int i = 0; i < opt_.covariates; ++i) {
            p.x[i] = round_units(rng.normal(), kDecimals5);
            const double xv = static_cast<double>(p.x[i]) / kDecimals5;
            p.eta += opt_.covariateEffect * xv;
            if (i == 0) p.eta += opt_.interaction * gt * xv;
        }
        p.c.resize(opt_.categorical);
        for (int i = 0; i < opt_.categorical; ++i) {
            double w[3];
            double total = 0.0;
            for (int l = 0; l < 3; ++l) {
                w[l] = kLevelShare[l];
                if (i == 0 && opt_.dependent) w[l] *= det_exp(opt_.dependence * p.g * l);
                total += w[l];
            }
            const double u = rng.uniform() * total;
            p.c[i] = u < w[0] ? 1 : (u < w[0] + w[1] ? 2 : 3);
            p.eta += opt_.covariateEffect * (p.c[i] - 1);
        }
        switch (opt_.design) {
        case Design::CaseControl: p.u = rng.uniform(); break;
        case Design::Cohort:
            p.e1 = rng.exponential();
            p.e2 = rng.exponential();
            break;
        case Design::CrossSectional:
            if (opt_.trait == Trait::Binary) p.u = rng.uniform();
            else p.z = rng.normal();
            break;
        }
        return p;
    }

private:
    const Options& opt_;
    const Genome& g_;
};

// Intercept giving roughly the wanted prevalence at the average linear predictor.
double prevalence_intercept(const Options& opt, const Genome& g) {
    const double q = g.snp[g.causal].freq;
    double meanG = 0.0;
    switch (opt.mode) {
    case Mode::Additive:
    case Mode::Codominant: meanG = 2.0 * q; break;
    case Mode::Recessive: meanG = q * q; break;
    case Mode::Dominant: meanG = 1.0 - (1.0 - q) * (1.0 - q); break;
    }
    const double meanLevel = kLevelShare[1] * 1.0 + kLevelShare[2] * 2.0;
    const double meanEta = opt.effect * meanG + opt.covariateEffect * meanLevel * opt.categorical;
    return logit(opt.effective_prevalence()) - meanEta;
}

void keep(Sample& s, const Person& p, std::uint64_t k) {
    s.member.push_back(k);
    s.genotype.push_back(p.g);
    s.x.insert(s.x.end(), p.x.begin(), p.x.end());
    s.c.insert(s.c.end(), p.c.begin(), p.c.end());
}

// Censoring rate that leaves a share f of the cohort censored on average.
double censoring_rate(const std::vector<double>& hazard, double f) {
    if (f <= 0.0) return 0.0;
    auto share = [&](double rate) {
        double sum = 0.0;
        for (double h : hazard) sum += rate / (rate + h);
        return sum / static_cast<double>(hazard.size());
    };
    double lo = -40.0, hi = 40.0;  // bisection on the log rate
    for (int it = 0; it < 200; ++it) {
        const double mid = 0.5 * (lo + hi);
        if (share(det_exp(mid)) < f) lo = mid;
        else hi = mid;
    }
    return det_exp(0.5 * (lo + hi));
}

} // namespace

double genotype_term(Mode mode, int copies) {
    switch (mode) {
    case Mode::Additive: return copies;
    case Mode::Recessive: return copies == 2 ? 1.0 : 0.0;
    case Mode::Dominant: return copies >= 1 ? 1.0 : 0.0;
    case Mode::Codominant: return copies;  // heterozygote once the effect, homozygote twice
    }
    return 0.0;
}

int Sample::columns() const { return (time.empty() ? 1 : 2) + nx + nc; }

Sample simulate_sample(const Options& opt, const Genome& g) {
    Sample s;
    s.nx = opt.covariates;
    s.nc = opt.categorical;
    const Population pop(opt, g);
    const int n = opt.sample_size();

    if (opt.design == Design::CaseControl) {
        s.intercept = prevalence_intercept(opt, g);
        Sample cases, controls;
        cases.nx = controls.nx = s.nx;
        cases.nc = controls.nc = s.nc;
        std::uint64_t k = 0;
        while (static_cast<int>(cases.member.size()) < opt.cases || static_cast<int>(controls.member.size()) < opt.controls) {
            if (k >= kMaxScreened)
                fail("only " + std::to_string(cases.member.size()) + " cases among " + std::to_string(k) +
                     " simulated people; raise --prevalence or lower --cases");
            const Person p = pop.person(k);
            const bool ill = p.u < logistic(s.intercept + p.eta);
            if (ill) {
                ++s.populationCases;
                if (static_cast<int>(cases.member.size()) < opt.cases) keep(cases, p, k);
            } else if (static_cast<int>(controls.member.size()) < opt.controls) {
                keep(controls, p, k);
            }
            ++k;
        }
        s.screened = k;
        // Mix cases and controls in a random order.
        std::vector<int> order(n);
        for (int i = 0; i < n; ++i) order[i] = i;
        Stream rng(opt.seed, kTagOrder, 0);
        for (int i = n - 1; i > 0; --i) std::swap(order[i], order[static_cast<int>(rng.below(static_cast<std::uint64_t>(i) + 1))]);
        for (int i = 0; i < n; ++i) {
            const int o = order[i];
            const bool isCase = o < opt.cases;
            const Sample& from = isCase ? cases : controls;
            const int r = isCase ? o : o - opt.cases;
            s.member.push_back(from.member[r]);
            s.genotype.push_back(from.genotype[r]);
            for (int a = 0; a < s.nx; ++a) s.x.push_back(from.x[static_cast<std::size_t>(r) * s.nx + a]);
            for (int a = 0; a < s.nc; ++a) s.c.push_back(from.c[static_cast<std::size_t>(r) * s.nc + a]);
            s.status.push_back(isCase ? 1 : 0);
        }
    } else {
        std::vector<Person> people;
        people.reserve(n);
        for (int i = 0; i < n; ++i) {
            people.push_back(pop.person(static_cast<std::uint64_t>(i)));
            keep(s, people.back(), static_cast<std::uint64_t>(i));
        }
        if (opt.design == Design::Cohort) {
            std::vector<double> hazard(n);
            for (int i = 0; i < n; ++i) hazard[i] = kBaselineHazard * det_exp(people[i].eta);
            s.censoringRate = censoring_rate(hazard, opt.censoring);
            double scale = 1.0;
            for (int d = 0; d < opt.tieDigits; ++d) scale *= 10.0;
            for (int i = 0; i < n; ++i) {
                const double t = people[i].e1 / hazard[i];
                const double cens = s.censoringRate > 0.0 ? people[i].e2 / s.censoringRate : HUGE_VAL;
                const bool ev = t <= cens;
                const double y = ev ? t : cens;
                long long units = y * scale < 9e17 ? round_units(y, scale) : static_cast<long long>(9e17);
                if (units < 1) units = 1;  // times are positive
                s.time.push_back(units);
                s.event.push_back(ev ? 1 : 0);
                if (!ev) ++s.censored;
            }
        } else if (opt.trait == Trait::Binary) {
            s.intercept = prevalence_intercept(opt, g);
            for (int i = 0; i < n; ++i) s.status.push_back(people[i].u < logistic(s.intercept + people[i].eta) ? 1 : 0);
        } else {
            s.intercept = 0.0;
            for (int i = 0; i < n; ++i)
                s.trait.push_back(round_units(s.intercept + people[i].eta + opt.sigma * people[i].z, kDecimals5));
        }
    }
    s.n = n;

    // Entries written as NA.
    const int cols = s.columns();
    s.na.assign(static_cast<std::size_t>(n) * cols, 0);
    if (opt.missingPhenotypes > 0.0) {
        for (int i = 0; i < n; ++i) {
            Stream rng(opt.seed, kTagPhenotypeMissing, static_cast<std::uint64_t>(i));
            for (int col = 0; col < cols; ++col)
                if (rng.uniform() < opt.missingPhenotypes) {
                    s.na[static_cast<std::size_t>(i) * cols + col] = 1;
                    ++s.naEntries;
                }
        }
    }
    return s;
}

} // namespace sim
