#include "phenotable.h"

#include "text.h"

#include <algorithm>
#include <cstdlib>

namespace prepare {

namespace {


bool missing_word(std::string_view v, bool plink) {
    return v.empty() || v == "NA" || v == "." || (plink && v == "-9");
}

} // namespace

PhenotypeTable read_phenotype_table(std::string_view text, const std::string& file, const TableRequest& req) {
    PhenotypeTable t;
    auto fail = [&](int line, const std::string& what) {
        t.error = quote(file) + (line > 0 ? " line " + std::to_string(line) : std::string()) + ": " + what;
        return t;
    };
    LineReader lines(text);
    std::string_view line;
    bool haveHeader = false;
    while (lines.next(line))
        if (!is_blank_line(line)) {
            haveHeader = true;
            break;
        }
    if (!haveHeader) return fail(0, "the file is empty; a header line naming the columns is expected");
    const int headerLine = lines.number();
    const Separator sep = line.find('\t') != std::string_view::npos   ? Separator::Tab
                          : line.find(',') != std::string_view::npos ? Separator::Comma
                                                                      : Separator::Blanks;
    std::vector<std::string_view> f;
    split_fields(line, sep, f);
    if (!f.empty() && !f[0].empty() && f[0][0] == '#') f[0].remove_prefix(1);  // "#FID", "#IID"
    for (std::size_t i = 0; i < f.size(); ++i) {
        if (f[i].empty()) return fail(headerLine, "column " + std::to_string(i + 1) + " of the header has no name");
        if (std::count(t.columns.begin(), t.columns.end(), f[i]))
            return fail(headerLine, "column name " + quote(f[i]) + " appears twice in the header");
        t.columns.emplace_back(f[i]);
    }
    auto column = [&](const std::string& name) -> int {
        const auto it = std::find(t.columns.begin(), t.columns.end(), name);
        return it == t.columns.end() ? -1 : static_cast<int>(it - t.columns.begin());
    };
    const std::string idName = req.idColumn.empty() ? "IID" : req.idColumn;
    const int idCol = column(idName);
    if (idCol < 0)
        return fail(headerLine, "no sample ID column " + quote(idName) +
                                    (req.idColumn.empty() ? " in the header; name the ID column with --id" : " in the header"));

    // Columns of phenotype.dat: the response(s), then the covariates.
    std::vector<int> picked;
    std::vector<std::string> names = req.responses;
    names.insert(names.end(), req.covariates.begin(), req.covariates.end());
    for (std::size_t k = 0; k < names.size(); ++k) {
        const int c = column(names[k]);
        if (c < 0) return fail(headerLine, "no column " + quote(names[k]) + " in the header");
        if (c == idCol) return fail(headerLine, "column " + quote(names[k]) + " is the sample ID column");
        if (std::count(names.begin(), names.begin() + static_cast<long>(k), names[k]))
            return fail(0, "column " + quote(names[k]) + " is named twice among the response and covariate columns");
        if (names[k].size() > kNameWidth)
            return fail(headerLine, "column name " + quote(names[k]) + " is longer than " + std::to_string(kNameWidth) +
                                        " characters; rename it");
        picked.push_back(c);
    }
    if (req.covariates.size() > kMaxCovariates)
        return fail(0, std::to_string(req.covariates.size()) + " covariates; at most " + std::to_string(kMaxCovariates) +
                           " can be used");
    if (!names.empty() && is_number(names[0]))
        return fail(headerLine, "the response column's name " + quote(names[0]) + " is a number; rename it");
    for (std::size_t k = 0; k < names.size(); ++k) {
        if (k) t.header += ' ';
        t.header += names[k];
    }
    if (t.header.size() > kHeaderWidth)
        return fail(0, "the header of phenotype.dat would be " + std::to_string(t.header.size()) +
                           " characters, more than the " + std::to_string(kHeaderWidth) +
                           " the analysis reads; use shorter column names or fewer covariates");

    // Which picked columns hold a 0/1 indicator.
    const std::size_t nResp = req.responses.size();
    std::string rowText;
    while (lines.next(line)) {
        if (is_blank_line(line)) continue;
        const int ln = lines.number();
        split_fields(line, sep, f);
        if (f.size() != t.columns.size())
            return fail(ln, std::to_string(f.size()) + " fields where the header names " + std::to_string(t.columns.size()));
        const std::string_view id = f[idCol];
        if (missing_word(id, false)) return fail(ln, "the sample ID is missing");
        const auto [it, fresh] = t.row.emplace(std::string(id), static_cast<int>(t.ids.size()));
        if (!fresh)
            return fail(ln, "sample ID " + quote(id) + " appears again (first on line " +
                                std::to_string(t.lines[static_cast<std::size_t>(it->second)]) + ")");
        rowText.clear();
        char noResponse = 0;
        for (std::size_t k = 0; k < picked.size(); ++k) {
            std::string_view v = f[picked[k]];
            if (k) rowText += ' ';
            const bool isStatus = k == 0 && req.response == Response::Status;
            const bool isEvent = k == 1 && req.response == Response::TimeEvent;
            if (isStatus && req.plinkCoding) {
                if (v == "2") v = "1";
                else if (v == "1") v = "0";
                else if (v == "0" || missing_word(v, true)) v = "NA";
                else return fail(ln, "status " + quote(v) + " of sample " + quote(id) + " in column " + quote(names[k]) +
                                         " is not 1 (control), 2 (case) or 0/-9 (missing) as PLINK codes it");
            }
            if (missing_word(v, req.plinkCoding)) {
                if (k < nResp) noResponse = 1;
                rowText += "NA";
                continue;
            }
            if (!is_number(v))
                return fail(ln, "value " + quote(v) + " of sample " + quote(id) + " in column " + quote(names[k]) +
                                    " is neither a number nor missing (NA, '.', empty" +
                                    (req.plinkCoding ? ", -9)" : ")"));
            if ((isStatus || isEvent) && k < nResp) {
                const double x = std::strtod(std::string(v).c_str(), nullptr);
                if (x != 0.0 && x != 1.0)
                    return fail(ln, std::string(isStatus ? "status " : "event ") + quote(v) + " of sample " + quote(id) +
                                        " in column " + quote(names[k]) + " is not 0 or 1" +
                                        (isStatus && !req.plinkCoding ? " (for PLINK's 1/2 coding use --plink-coding)" : ""));
            }
            rowText += v;
        }
        t.ids.emplace_back(id);
        t.rows.push_back(rowText);
        t.lines.push_back(ln);
        t.noResponse.push_back(noResponse);
    }
    return t;
}

} // namespace prepare
