#include "model.h"

#include "text.h"

#include <algorithm>

namespace prepare {

namespace {

// The analysis reads model file lines 99 characters at a time.
constexpr std::size_t kModelLineWidth = 90;

bool among(const std::vector<std::string>& v, const std::string& w) { return std::find(v.begin(), v.end(), w) != v.end(); }

void add_unique(std::vector<std::string>& v, const std::string& w) {
    if (!among(v, w)) v.push_back(w);
}


void keyword_lines(std::string& out, const char* keyword, const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& w : words) {
        if (!line.empty() && line.size() + 1 + w.size() > kModelLineWidth) {
            out += line + '\n';
            line.clear();
        }
        if (line.empty()) line = std::string(keyword) + " =";
        line += ' ';
        line += w;
    }
    if (!line.empty()) out += line + '\n';
}

} // namespace

std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> w;
    std::string cur;
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == ',' || c == '\r' || c == '\n') {
            if (!cur.empty()) w.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) w.push_back(cur);
    return w;
}

std::string read_model_file(std::string_view text, const std::string& file, ModelRequest& req) {
    LineReader lines(text);
    std::string_view line;
    std::vector<std::string_view> f;
    while (lines.next(line)) {
        split_fields(line, Separator::Blanks, f);
        if (f.empty() || f[0][0] == '#') continue;
        const std::string where = quote(file) + " line " + std::to_string(lines.number()) + ": ";
        const std::string key(f[0]);
        std::size_t first = 1;
        if (f.size() > 1 && f[1] == "=") first = 2;
        std::vector<std::string> values(f.begin() + static_cast<long>(first), f.end());
        if (values.empty()) return where + key + " has no value";
        if (key == "DESIGN" || key == "MODE") {
            if (values.size() != 1) return where + key + " takes one value";
            (key == "DESIGN" ? req.design : req.mode) = values[0];
        } else if (key == "EFFECT") {
            req.effect.insert(req.effect.end(), values.begin(), values.end());
        } else if (key == "OUTPUT") {
            req.output.insert(req.output.end(), values.begin(), values.end());
        } else if (key == "CATEGORICAL") {
            req.categorical.insert(req.categorical.end(), values.begin(), values.end());
        } else if (key == "DEPENDENT") {
            req.dependent.insert(req.dependent.end(), values.begin(), values.end());
        } else if (key == "PANEL") {
            return where + "PANEL is filled in from the panel and the pedigree; leave it out";
        } else {
            return where + "unknown keyword " + quote(key) +
                   " (DESIGN, MODE, CATEGORICAL, DEPENDENT, EFFECT, OUTPUT)";
        }
    }
    return "";
}

const char* design_of(Response r) {
    switch (r) {
    case Response::Status: return "case-control";
    case Response::TimeEvent: return "cohort";
    case Response::Trait: return "cross-sectional";
    }
    return "";
}

std::vector<std::string> covariates_of(const ModelRequest& req) {
    std::vector<std::string> c;
    for (const std::string& t : req.effect) {
        const auto star = t.find('*');
        for (const std::string& part : {t.substr(0, star), star == std::string::npos ? std::string() : t.substr(star + 1)})
            if (!part.empty() && part != "G" && part.find('*') == std::string::npos) add_unique(c, part);
    }
    for (const std::string& w : req.categorical) add_unique(c, w);
    for (const std::string& w : req.dependent) add_unique(c, w);
    return c;
}

std::string check_model(ModelRequest& req, Response response, const std::vector<std::string>& covariates) {
    const std::string implied = design_of(response);
    if (req.design.empty()) req.design = implied;
    if (req.design != "case-control" && req.design != "cohort" && req.design != "cross-sectional")
        return "unknown design " + quote(req.design) + " (case-control, cohort, cross-sectional)";
    if (req.design != implied)
        return "the " + req.design + " design needs " +
               (req.design == "case-control" ? std::string("--status") :
                req.design == "cohort"       ? std::string("--time and --event") : std::string("--trait")) +
               " to name its response column";
    if (req.mode.empty()) req.mode = "additive";
    if (req.mode != "additive" && req.mode != "recessive" && req.mode != "dominant" && req.mode != "codominant")
        return "unknown mode " + quote(req.mode) + " (additive, recessive, dominant, codominant)";

    for (const char* kind : {"CATEGORICAL", "DEPENDENT"}) {
        const std::vector<std::string>& v = kind[0] == 'C' ? req.categorical : req.dependent;
        for (std::size_t i = 0; i < v.size(); ++i) {
            if (!among(covariates, v[i]))
                return std::string(kind) + ": " + quote(v[i]) + " is not one of the covariates (" +
                       (covariates.empty() ? std::string("none") : [&] {
                           std::string s;
                           for (const std::string& c : covariates) s += (s.empty() ? "" : " ") + c;
                           return s;
                       }()) + ")";
            if (std::count(v.begin(), v.begin() + static_cast<long>(i), v[i]))
                return std::string(kind) + ": " + quote(v[i]) + " is named twice";
        }
    }
    if (req.effect.empty()) {
        req.effect = {"G"};
        req.effect.insert(req.effect.end(), covariates.begin(), covariates.end());
    }
    if (req.output.empty()) req.output = {"G"};

    auto name_ok = [&](const std::string& w) { return w == "G" || among(covariates, w); };
    bool sawG = false;
    for (std::size_t i = 0; i < req.effect.size(); ++i) {
        const std::string& t = req.effect[i];
        if (t.size() > kNameWidth) return "EFFECT: term " + quote(t) + " is longer than 29 characters";
        if (std::count(req.effect.begin(), req.effect.begin() + static_cast<long>(i), t))
            return "EFFECT: term " + quote(t) + " is named twice";
        const auto star = t.find('*');
        if (star == std::string::npos) {
            if (!name_ok(t)) return "EFFECT: " + quote(t) + " is neither G nor a covariate";
            sawG = sawG || t == "G";
            continue;
        }
        const std::string a = t.substr(0, star), b = t.substr(star + 1);
        if (a.empty() || b.empty() || b.find('*') != std::string::npos)
            return "EFFECT: " + quote(t) + " is not a product of two terms";
        if (!name_ok(a)) return "EFFECT: " + quote(a) + " in " + quote(t) + " is neither G nor a covariate";
        if (!name_ok(b)) return "EFFECT: " + quote(b) + " in " + quote(t) + " is neither G nor a covariate";
        if (a == b) return "EFFECT: " + quote(t) + " multiplies a term by itself";
        if (b == "G" && !sawG) return "EFFECT: write " + quote(t) + " as G*" + a + " (or list G before it)";
        sawG = sawG || a == "G";
    }
    for (std::size_t i = 0; i < req.output.size(); ++i) {
        const std::string& t = req.output[i];
        if (std::count(req.output.begin(), req.output.begin() + static_cast<long>(i), t))
            return "OUTPUT: term " + quote(t) + " is named twice";
        bool found = among(req.effect, t);
        const auto star = t.find('*');
        if (!found && star != std::string::npos) found = among(req.effect, t.substr(star + 1) + "*" + t.substr(0, star));
        if (!found) return "OUTPUT: term " + quote(t) + " is not among the EFFECT terms";
    }
    return "";
}

std::string model_file_text(const ModelRequest& req, const int* panel) {
    std::string s = "DESIGN = " + req.design + "\n";
    if (panel)
        s += "PANEL = " + std::to_string(panel[0]) + " " + std::to_string(panel[1]) + " " + std::to_string(panel[2]) + "\n";
    s += "MODE = " + req.mode + "\n";
    keyword_lines(s, "CATEGORICAL", req.categorical);
    keyword_lines(s, "DEPENDENT", req.dependent);
    keyword_lines(s, "EFFECT", req.effect);
    keyword_lines(s, "OUTPUT", req.output);
    return s;
}

} // namespace prepare
