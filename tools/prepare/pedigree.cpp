#include "pedigree.h"

#include "text.h"

#include <numeric>
#include <unordered_map>

namespace prepare {

Pedigree read_pedigree(std::string_view text, const std::string& file) {
    Pedigree p;
    std::unordered_map<std::string, int> seen;
    LineReader lines(text);
    std::string_view line;
    std::vector<std::string_view> f;
    while (lines.next(line)) {
        if (is_blank_line(line)) continue;
        const int ln = lines.number();
        auto fail = [&](const std::string& what) {
            p.error = "'" + file + "' line " + std::to_string(ln) + ": " + what;
            return p;
        };
        split_fields(line, Separator::Blanks, f);
        if (f.size() < 6)
            return fail(std::to_string(f.size()) +
                        " fields; a pedigree line holds family ID, person, father, mother, sex and phenotype");
        Person q{std::string(f[1]), std::string(f[2]), std::string(f[3]), ln};
        if (q.iid == "0") return fail("person ID '0' (it means an unknown parent)");
        if (q.father == q.iid || q.mother == q.iid) return fail("person '" + q.iid + "' is named as their own parent");
        if (q.father != "0" && q.father == q.mother) return fail("person '" + q.iid + "' has the same father and mother");
        const auto [it, fresh] = seen.emplace(q.iid, ln);
        if (!fresh)
            return fail("person '" + q.iid + "' appears again (first on line " + std::to_string(it->second) + ")");
        p.people.push_back(std::move(q));
    }
    if (p.people.empty()) p.error = "'" + file + "': the pedigree lists nobody";
    return p;
}

namespace {

struct Groups {  // union-find over people
    std::vector<int> up;
    int add() {
        up.push_back(static_cast<int>(up.size()));
        return up.back();
    }
    int root(int a) {
        while (up[a] != a) a = up[a] = up[up[a]];
        return a;
    }
    void join(int a, int b) { up[root(a)] = root(b); }
};

} // namespace

PanelFamilies choose_families(const Pedigree& ped, const std::vector<std::string>& samples) {
    PanelFamilies out;
    Groups g;
    std::unordered_map<std::string, int> node;  // person -> group node
    auto node_of = [&](const std::string& id) {
        const auto [it, fresh] = node.emplace(id, 0);
        if (fresh) it->second = g.add();
        return it->second;
    };
    std::unordered_map<std::string, const Person*> byId;
    for (const Person& q : ped.people) {
        byId[q.iid] = &q;
        const int a = node_of(q.iid);
        if (q.father != "0") g.join(a, node_of(q.father));
        if (q.mother != "0") g.join(a, node_of(q.mother));
    }
    std::unordered_map<std::string, int> inVcf;
    for (std::size_t i = 0; i < samples.size(); ++i) inVcf.emplace(samples[i], static_cast<int>(i));
    for (const Person& q : ped.people) out.pedigreeOnly += inVcf.count(q.iid) ? 0 : 1;

    const int n = static_cast<int>(samples.size());
    std::vector<int> group(n);
    for (int i = 0; i < n; ++i) {
        if (!byId.count(samples[i])) ++out.notInPedigree;
        group[i] = node_of(samples[i]);
    }
    std::vector<char> taken(g.up.size(), 0);
    std::vector<char> used(n, 0);
    auto parent = [&](const std::string& id) {
        if (id == "0") return -1;
        const auto it = inVcf.find(id);
        return it == inVcf.end() ? -1 : it->second;
    };
    auto take = [&](std::initializer_list<int> members) {
        const int r = g.root(group[*members.begin()]);
        if (taken[r]) return false;
        taken[r] = 1;
        for (int m : members) {
            used[m] = 1;
            out.column.push_back(m);
        }
        out.founders.push_back(*members.begin());
        return true;
    };
    for (int c = 0; c < n; ++c) {  // trios
        const auto it = byId.find(samples[c]);
        if (it == byId.end()) continue;
        const int fa = parent(it->second->father), mo = parent(it->second->mother);
        if (fa >= 0 && mo >= 0 && take({fa, mo, c})) {
            out.founders.push_back(mo);
            ++out.trios;
        }
    }
    for (int c = 0; c < n; ++c) {  // duos
        const auto it = byId.find(samples[c]);
        if (it == byId.end() || used[c]) continue;
        const int fa = parent(it->second->father), mo = parent(it->second->mother);
        const int par = fa >= 0 ? fa : mo;
        if (par >= 0 && take({par, c})) ++out.duos;
    }
    for (int s = 0; s < n; ++s)  // singletons
        if (!used[s] && take({s})) ++out.singletons;
    for (int s = 0; s < n; ++s) out.leftOut += used[s] ? 0 : 1;
    return out;
}

} // namespace prepare
