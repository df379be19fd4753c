// The study's phenotype table: a header line naming the columns, then one row
// per sample. The sample ID column is IID (a FID column beside it is allowed),
// or the column named by --id. Fields are separated by tabs when the header
// holds a tab, by commas when it holds a comma, else by runs of blanks.
// NA, '.' and an empty field are missing; under PLINK coding -9 is missing in
// every column and the status column is coded 1 control, 2 case, 0 missing.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace prepare {

enum class Response { Status, TimeEvent, Trait };

struct TableRequest {
    std::string idColumn;                 // empty: IID
    Response response = Response::Status;
    std::vector<std::string> responses;   // status; time, event; or trait column
    std::vector<std::string> covariates;  // in the order phenotype.dat lists them
    bool plinkCoding = false;
};

struct PhenotypeTable {
    std::string error;                    // empty when the table was read
    std::string header;                   // header line of phenotype.dat
    std::vector<std::string> ids;         // per row
    std::vector<std::string> rows;        // per row: its line of phenotype.dat
    std::vector<int> lines;               // per row: line number in the table
    std::vector<char> noResponse;         // per row: 1 when a response value is missing
    std::unordered_map<std::string, int> row;  // sample ID -> row
    std::vector<std::string> columns;     // header names of the table
};

// Reads the table from its text; prints nothing.
PhenotypeTable read_phenotype_table(std::string_view text, const std::string& file, const TableRequest& req);

// Longest header of phenotype.dat that the analysis reads, and longest name.
inline constexpr std::size_t kHeaderWidth = 99;
inline constexpr std::size_t kNameWidth = 29;
inline constexpr std::size_t kMaxCovariates = 40;

} // namespace prepare
