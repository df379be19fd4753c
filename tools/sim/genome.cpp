// Simulated chromosome, founder mosaics, map composition and panel layout (see genome.h).
#include "genome.h"

#include "random.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

namespace sim {

namespace {

// Positions must stay inside the sentinels that the analysis program places
// at -300000000 and 300000000 around its merged map.
constexpr long long kLastPosition = 299999999;
// A default map is laid out within the length of the longest human chromosome.
constexpr long long kDefaultMapEnd = 250000000;

constexpr std::uint32_t kScale24 = 1u << 24;
constexpr std::uint32_t kScale16 = 1u << 16;

std::uint32_t to_scale24(double p) {
    if (!(p > 0.0)) return 0;
    if (p >= 1.0) return kScale24;
    return static_cast<std::uint32_t>(std::floor(p * kScale24 + 0.5));
}

// k distinct members of pool, chosen at random, returned in ascending order.
std::vector<int> choose(Stream& rng, std::vector<int> pool, int k) {
    const std::size_t n = pool.size();
    const std::size_t kk = static_cast<std::size_t>(k);
    for (std::size_t i = 0; i < kk && i < n; ++i) {
        const std::size_t j = i + static_cast<std::size_t>(rng.below(n - i));
        std::swap(pool[i], pool[j]);
    }
    pool.resize(std::min(kk, n));
    std::sort(pool.begin(), pool.end());
    return pool;
}

std::string count_text(int n, const char* what) { return std::to_string(n) + " " + what; }

void make_founders(Genome& g, const Options& opt, Stream& rng) {
    const int nf = opt.founders;
    g.founders = nf;
    // Unequal founder shares give a spread of allele frequencies along the map.
    g.weight.resize(nf);
    double total = 0.0;
    for (double& w : g.weight) {
        w = 0.4 + rng.exponential();
        total += w;
    }
    for (double& w : g.weight) w /= total;
    g.cumWeight.resize(nf);
    double cum = 0.0;
    std::uint32_t prev = 0;
    for (int f = 0; f < nf; ++f) {
        cum += g.weight[f];
        std::uint32_t c = (f == nf - 1) ? kScale16 : static_cast<std::uint32_t>(std::floor(cum * kScale16 + 0.5));
        if (c <= prev) c = prev + 1;  // every founder keeps a share
        g.cumWeight[f] = c;
        prev = c;
    }
    // Re-read the shares actually used by the 16-bit choice.
    prev = 0;
    for (int f = 0; f < nf; ++f) {
        g.weight[f] = static_cast<double>(g.cumWeight[f] - prev) / kScale16;
        prev = g.cumWeight[f];
    }
}

// Coalescent genealogy of the founders, renewed along the chromosome.
class FounderTree {
public:
    explicit FounderTree(int founders) : nf_(founders) {}

    void renew(Stream& rng) {
        // Kingman coalescent: lineages merge pairwise at rate k(k-1)/2.
        std::vector<std::uint64_t> lineage(nf_);
        std::vector<double> born(nf_, 0.0);
        for (int f = 0; f < nf_; ++f) lineage[f] = 1ULL << f;
        mask_.clear();
        length_.clear();
        double t = 0.0;
        while (lineage.size() > 1) {
            const double k = static_cast<double>(lineage.size());
            t += rng.exponential() / (k * (k - 1.0) / 2.0);
            const std::size_t a = static_cast<std::size_t>(rng.below(lineage.size()));
            std::size_t b = static_cast<std::size_t>(rng.below(lineage.size() - 1));
            if (b >= a) ++b;
            for (std::size_t x : {a, b}) {
                mask_.push_back(lineage[x]);
                length_.push_back(t - born[x]);
            }
            const std::uint64_t merged = lineage[a] | lineage[b];
            const std::size_t hi = std::max(a, b), lo = std::min(a, b);
            lineage.erase(lineage.begin() + static_cast<long>(hi));
            born.erase(born.begin() + static_cast<long>(hi));
            lineage[lo] = merged;
            born[lo] = t;
        }
        total_ = 0.0;
        for (double l : length_) total_ += l;
    }

    // Founders below a branch chosen with probability proportional to its length.
    std::uint64_t branch(Stream& rng) const {
        double u = rng.uniform() * total_;
        for (std::size_t i = 0; i < mask_.size(); ++i) {
            if (u < length_[i]) return mask_[i];
            u -= length_[i];
        }
        return mask_.back();
    }

private:
    int nf_;
    std::vector<std::uint64_t> mask_;
    std::vector<double> length_;
    double total_ = 0.0;
};

void make_map(Genome& g, const Options& opt, Stream& rng) {
    const int n = opt.snps;
    const int nf = g.founders;
    FounderTree tree(nf);
    g.snp.resize(n);
    g.founderAllele.assign(static_cast<std::size_t>(n) * nf, 0);
    g.switchThreshold.resize(n);

    double spacing = opt.spacing;
    if (!opt.spacingGiven && n > 1) {
        const double room = static_cast<double>(kDefaultMapEnd - opt.start) / (n - 1);
        if (room < spacing) spacing = std::floor(room);
        if (spacing < 2.0)
            fail("too many SNPs for one chromosome starting at " + std::to_string(opt.start) +
                 "; lower --snps or --start");
    }
    g.spacing = spacing;

    static const char kPairs[8][2] = {{'A', 'G'}, {'G', 'A'}, {'C', 'T'}, {'T', 'C'},
                                      {'A', 'C'}, {'C', 'A'}, {'G', 'T'}, {'T', 'G'}};
    long long pos = opt.start;
    long long rs = 10000 + static_cast<long long>(rng.below(90000));
    const double mu = opt.noise;
    for (int j = 0; j < n; ++j) {
        Snp& s = g.snp[j];
        if (j > 0) {
            long long step = static_cast<long long>(std::floor(spacing * (0.5 + rng.uniform())));
            if (step < 1) step = 1;
            pos += step;
            rs += 1 + static_cast<long long>(rng.below(30));
        }
        if (pos > kLastPosition)
            fail("SNP positions run past " + std::to_string(kLastPosition) +
                 "; lower --spacing, --start or --snps");
        s.pos = static_cast<int>(pos);
        s.id = "rs";
        s.id += std::to_string(rs);
        const int pair = static_cast<int>(rng.below(8));
        s.letter1 = kPairs[pair][0];
        s.letter2 = kPairs[pair][1];

        // Founder alleles: the SNP arose on one branch of the founders' local
        // genealogy (chosen with probability proportional to its length); the
        // founders below that branch carry one allele, the others the other.
        if (j == 0 || rng.uniform() < 1.0 - det_exp(-static_cast<double>(s.pos - g.snp[j - 1].pos) * opt.recomb))
            tree.renew(rng);
        const std::uint64_t carriers = tree.branch(rng);
        const std::uint8_t one = static_cast<std::uint8_t>(rng.below(2));  // allele 1 is the derived allele or not
        std::uint8_t* fa = &g.founderAllele[static_cast<std::size_t>(j) * nf];
        for (int f = 0; f < nf; ++f) fa[f] = static_cast<std::uint8_t>(((carriers >> f) & 1u) ? one : 1 - one);
        double q = 0.0;
        for (int f = 0; f < nf; ++f)
            if (fa[f]) q += g.weight[f];
        s.freq = q * (1.0 - mu) + (1.0 - q) * mu;

        if (j == 0) {
            g.switchThreshold[j] = kScale24;  // the first SNP always draws a founder
        } else {
            const double d = static_cast<double>(s.pos - g.snp[j - 1].pos);
            g.switchThreshold[j] = to_scale24(1.0 - det_exp(-d * opt.recomb));
        }
    }
    g.noiseThreshold = to_scale24(mu);
}

int find_causal_by_name(const Genome& g, const std::string& name) {
    const bool digits = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (digits) {
        if (name.size() > 9) fail("--causal: index " + name + " is out of range");
        const long idx = std::strtol(name.c_str(), nullptr, 10);
        if (idx < 1 || idx > g.size())
            fail("--causal: index " + name + " is out of range 1.." + std::to_string(g.size()));
        return static_cast<int>(idx - 1);
    }
    for (int j = 0; j < g.size(); ++j)
        if (g.snp[j].id == name) return j;
    fail("--causal: no SNP named '" + name + "' on the simulated map (identifiers depend on --seed)");
}

// Squared correlation of the alleles of SNPs j and k among the founders,
// weighted by their population shares (the LD within a founder segment).
double founder_r2(const Genome& g, int j, int k) {
    const std::uint8_t* a = &g.founderAllele[static_cast<std::size_t>(j) * g.founders];
    const std::uint8_t* b = &g.founderAllele[static_cast<std::size_t>(k) * g.founders];
    double pa = 0.0, pb = 0.0, pab = 0.0;
    for (int f = 0; f < g.founders; ++f) {
        pa += a[f] * g.weight[f];
        pb += b[f] * g.weight[f];
        pab += a[f] * b[f] * g.weight[f];
    }
    const double den = pa * (1.0 - pa) * pb * (1.0 - pb);
    if (!(den > 0.0)) return 0.0;
    const double d = pab - pa * pb;
    return d * d / den;
}

// SNPs within the tag window of the analysis (50 kb) in strong founder LD with SNP j.
int ld_partners(const Genome& g, int j) {
    constexpr int kWindow = 50000;
    int count = 0;
    for (int k = j - 1; k >= 0 && g.snp[j].pos - g.snp[k].pos <= kWindow; --k)
        if (founder_r2(g, j, k) >= 0.5) ++count;
    for (int k = j + 1; k < g.size() && g.snp[k].pos - g.snp[j].pos <= kWindow; ++k)
        if (founder_r2(g, j, k) >= 0.5) ++count;
    return count;
}

void choose_causal(Genome& g, const Options& opt) {
    if (!opt.causal.empty()) {
        g.causal = find_causal_by_name(g, opt.causal);
        g.causalChoice = "given by --causal";
        g.causalPartners = ld_partners(g, g.causal);
        return;
    }
    // Nearest the middle among SNPs of allele-1 frequency 0.15..0.5, preferring
    // SNPs with at least two strong LD partners nearby (so that an untyped
    // causal SNP can be tagged), then with one.
    const long long mid = (static_cast<long long>(g.snp.front().pos) + g.snp.back().pos) / 2;
    for (int need : {2, 1, 0}) {
        int best = -1;
        long long bestDist = 0;
        for (int j = 0; j < g.size(); ++j) {
            const double f = g.snp[j].freq;
            if (f < 0.15 || f > 0.5) continue;
            const long long d = std::llabs(static_cast<long long>(g.snp[j].pos) - mid);
            if (best >= 0 && d >= bestDist) continue;
            if (need > 0 && ld_partners(g, j) < need) continue;
            best = j;
            bestDist = d;
        }
        if (best >= 0) {
            g.causal = best;
            g.causalChoice = "SNP nearest the middle of the map with allele-1 frequency in [0.15, 0.5]";
            if (need > 0)
                g.causalChoice += " and at least " + std::to_string(need) + " founder-LD partner(s) (r2 >= 0.5 within 50 kb)";
            g.causalPartners = ld_partners(g, best);
            return;
        }
    }
    int best = 0;
    double bestGap = 2.0;
    for (int j = 0; j < g.size(); ++j) {
        const double gap = std::fabs(g.snp[j].freq - 0.3);
        if (gap < bestGap) {
            best = j;
            bestGap = gap;
        }
    }
    g.causal = best;
    g.causalChoice = "no SNP with allele-1 frequency in [0.15, 0.5]; SNP with frequency nearest 0.3";
    g.causalPartners = ld_partners(g, best);
}

void compose(Genome& g, const Options& opt, Stream& rng) {
    const int n = g.size();
    const int c = g.causal;

    // Typed in the study or panel-only.
    int nTyped = static_cast<int>(std::floor(opt.typedShare * n + 0.5));
    nTyped = std::clamp(nTyped, 0, n);
    std::vector<int> pool;
    if (opt.causalUntyped) {
        if (nTyped > n - 1)
            fail("--causal-untyped needs at least one untyped SNP; lower --typed-share");
        for (int j = 0; j < n; ++j)
            if (j != c) pool.push_back(j);
    } else {
        for (int j = 0; j < n; ++j) pool.push_back(j);
    }
    for (int j : choose(rng, pool, nTyped)) g.snp[j].typed = true;
    for (Snp& s : g.snp) s.inPanel = true;

    // Study-only SNPs: typed, absent from the panel and the haplotypes.
    pool.clear();
    for (int j = 0; j < n; ++j)
        if (g.snp[j].typed && j != c) pool.push_back(j);
    if (opt.studyOnly > static_cast<int>(pool.size()))
        fail("--study-only " + std::to_string(opt.studyOnly) + " exceeds the " +
             count_text(static_cast<int>(pool.size()), "typed SNPs available (the causal SNP excluded)"));
    for (int j : choose(rng, pool, opt.studyOnly)) g.snp[j].inPanel = false;

    // Panel SNPs without a haplotype record.
    pool.clear();
    for (int j = 0; j < n; ++j)
        if (g.snp[j].inPanel && j != c) pool.push_back(j);
    if (opt.unphased > static_cast<int>(pool.size()))
        fail("--unphased " + std::to_string(opt.unphased) + " exceeds the " +
             count_text(static_cast<int>(pool.size()), "panel SNPs available (the causal SNP excluded)"));
    for (Snp& s : g.snp) s.phased = s.inPanel;
    for (int j : choose(rng, pool, opt.unphased)) g.snp[j].phased = false;

    // Letter classes among SNPs held by both study and panel.
    std::vector<int> shared;
    for (int j = 0; j < n; ++j)
        if (g.snp[j].typed && g.snp[j].inPanel && j != c) shared.push_back(j);
    const int want = opt.ambiguous + opt.strandFlags + opt.swapLetters;
    if (want > static_cast<int>(shared.size()))
        fail("--ambiguous, --strand-flags and --swap-letters ask for " + std::to_string(want) +
             " SNPs but only " + count_text(static_cast<int>(shared.size()),
                                            "SNPs are in both study and panel (the causal SNP excluded)"));
    // Ambiguous SNPs preferably with allele frequencies well away from 1/2, so
    // that the frequency rule of strand alignment resolves them correctly.
    {
        std::vector<int> clear, close;
        for (int j : shared) (std::fabs(g.snp[j].freq - 0.5) >= 0.15 ? clear : close).push_back(j);
        std::vector<int> amb = choose(rng, clear, opt.ambiguous);
        if (static_cast<int>(amb.size()) < opt.ambiguous) {
            std::sort(close.begin(), close.end(), [&](int a, int b) {
                const double da = std::fabs(g.snp[a].freq - 0.5), db = std::fabs(g.snp[b].freq - 0.5);
                return da != db ? da > db : a < b;
            });
            close.resize(static_cast<std::size_t>(opt.ambiguous) - amb.size());
            amb.insert(amb.end(), close.begin(), close.end());
        }
        for (int j : amb) {
            Snp& s = g.snp[j];
            s.letters = Letters::Ambiguous;
            if (rng.below(2) == 0) {
                s.letter1 = 'A';
                s.letter2 = 'T';
            } else {
                s.letter1 = 'C';
                s.letter2 = 'G';
            }
        }
    }
    pool.clear();
    for (int j : shared)
        if (g.snp[j].letters == Letters::Plain) pool.push_back(j);
    for (int j : choose(rng, pool, opt.strandFlags)) g.snp[j].letters = Letters::StrandFlag;
    pool.clear();
    for (int j : shared)
        if (g.snp[j].letters == Letters::Plain) pool.push_back(j);
    for (int j : choose(rng, pool, opt.swapLetters)) g.snp[j].letters = Letters::Swapped;

    // Typed SNPs with missing study genotypes.
    pool.clear();
    for (int j = 0; j < n; ++j)
        if (g.snp[j].typed) pool.push_back(j);
    const int nMissing = static_cast<int>(std::floor(opt.missingShare * static_cast<double>(pool.size()) + 0.5));
    if (opt.missingRate > 0.0)
        for (int j : choose(rng, pool, nMissing)) g.snp[j].missing = true;
}

} // namespace

std::uint64_t Genome::mix_base(std::uint64_t x) { return mix64(x); }

std::uint64_t Genome::draw(std::uint64_t base, int j) {
    return mix64(base + static_cast<std::uint64_t>(j) * kGolden);
}

int Genome::pick_founder(std::uint64_t u) const {
    const std::uint32_t v = static_cast<std::uint32_t>((u >> 24) & 0xFFFFu);
    int f = 0;
    while (v >= cumWeight[f]) ++f;
    return f;
}

int Genome::founder_at(std::uint64_t base, int j) const {
    for (int k = j; k > 0; --k) {
        const std::uint64_t u = draw(base, k);
        if ((u >> 40) < switchThreshold[k]) return pick_founder(u);
    }
    return pick_founder(draw(base, 0));
}

int Genome::allele_at(std::uint64_t base, int j) const {
    const int f = founder_at(base, j);
    const std::uint64_t u = draw(base, j);
    const int flip = (u & 0xFFFFFFu) < noiseThreshold ? 1 : 0;
    return founderAllele[static_cast<std::size_t>(j) * founders + f] ^ flip;
}

Genome build_genome(const Options& opt) {
    Genome g;
    Stream rng(opt.seed, kTagMap, 0);
    g.haplotypeKey = derive_key(opt.seed, kTagHaplotypes, 0);
    make_founders(g, opt, rng);
    make_map(g, opt, rng);
    choose_causal(g, opt);
    Stream comp(opt.seed, kTagComposition, 0);
    compose(g, opt, comp);
    return g;
}

HaplotypeStream::HaplotypeStream(const Genome& g, const std::vector<std::uint64_t>& hapIds)
    : g_(g), base_(hapIds.size()), state_(hapIds.size(), 0) {
    for (std::size_t h = 0; h < hapIds.size(); ++h) base_[h] = g.haplotype_base(hapIds[h]);
}

void HaplotypeStream::advance(int j, std::uint8_t* alleles) {
    const std::uint32_t thr = g_.switchThreshold[j];
    const std::uint32_t noise = g_.noiseThreshold;
    const std::uint8_t* fa = &g_.founderAllele[static_cast<std::size_t>(j) * g_.founders];
    const std::uint64_t step = static_cast<std::uint64_t>(j) * kGolden;
    const std::size_t n = base_.size();
    std::uint8_t* state = state_.data();
    const std::uint64_t* base = base_.data();
    for (std::size_t h = 0; h < n; ++h) {
        const std::uint64_t u = mix64(base[h] + step);
        if ((u >> 40) < thr) state[h] = static_cast<std::uint8_t>(g_.pick_founder(u));
        alleles[h] = static_cast<std::uint8_t>(fa[state[h]] ^ ((u & 0xFFFFFFu) < noise ? 1 : 0));
    }
}

PanelLayout build_panel(const Options& opt) {
    PanelLayout p;
    const int T = opt.trios, D = opt.duos, S = opt.singletons;
    p.writtenHaplotypes = 4 * T + 2 * D + 2 * S;
    p.totalHaplotypes = p.writtenHaplotypes + D;
    Stream rng(opt.seed, kTagPanel, 0);
    // Written haplotypes: trio t parents at 4t..4t+3, duo parent d at 4T+2d, +1,
    // singleton s at 4T+2D+2s, +1; untyped duo parents after them.
    for (int t = 0; t < T; ++t) {
        const int b = 4 * t;
        p.member.push_back({b, b + 1});
        p.member.push_back({b + 2, b + 3});
        const int from1 = b + static_cast<int>(rng.below(2));
        const int from2 = b + 2 + static_cast<int>(rng.below(2));
        p.member.push_back({from1, from2});
    }
    for (int d = 0; d < D; ++d) {
        const int b = 4 * T + 2 * d;
        p.member.push_back({b, b + 1});
        const int fromParent = b + static_cast<int>(rng.below(2));
        p.member.push_back({fromParent, p.writtenHaplotypes + d});
    }
    for (int s = 0; s < S; ++s) {
        const int b = 4 * T + 2 * D + 2 * s;
        p.member.push_back({b, b + 1});
    }
    return p;
}

} // namespace sim
