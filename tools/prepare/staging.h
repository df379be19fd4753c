// Output files written under temporary names beside their final names and
// renamed only when the whole run has succeeded; removed otherwise.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace prepare {

class StagedFile {
public:
    StagedFile(std::string finalPath, std::FILE* f) : final_(std::move(finalPath)), f_(f) {}
    ~StagedFile();
    bool write(std::string_view s) { return ok_ = ok_ && std::fwrite(s.data(), 1, s.size(), f_) == s.size(); }
    bool close();  // false on a write error
    const std::string& final_path() const { return final_; }
    std::string temp_path() const { return final_ + ".partial"; }

private:
    std::string final_;
    std::FILE* f_;
    bool ok_ = true;
    std::vector<char> buffer_;
    friend class Staging;
};

class Staging {
public:
    ~Staging() { abandon(); }
    // Creates the folder when needed; nullptr with error set on failure.
    StagedFile* open(const std::string& dir, const std::string& name, std::string& error);
    void drop(StagedFile* f);          // removes one file
    bool commit(std::string& error);   // renames every file to its final name
    void abandon();                    // removes every temporary file

private:
    std::vector<std::unique_ptr<StagedFile>> files_;
};

} // namespace prepare
