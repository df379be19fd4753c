#include "staging.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace prepare {

StagedFile::~StagedFile() {
    if (f_) std::fclose(f_);
}

bool StagedFile::close() {
    if (!f_) return ok_;
    ok_ = ok_ && std::fflush(f_) == 0;
    ok_ = (std::fclose(f_) == 0) && ok_;
    f_ = nullptr;
    return ok_;
}

StagedFile* Staging::open(const std::string& dir, const std::string& name, std::string& error) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        error = "cannot create folder '" + dir + "': " + ec.message();
        return nullptr;
    }
    const std::string path = dir + "/" + name;
    std::FILE* f = std::fopen((path + ".partial").c_str(), "wb");
    if (!f) {
        error = "cannot write '" + path + ".partial': " + std::strerror(errno);
        return nullptr;
    }
    files_.push_back(std::make_unique<StagedFile>(path, f));
    StagedFile* s = files_.back().get();
    s->buffer_.resize(1 << 20);
    std::setvbuf(f, s->buffer_.data(), _IOFBF, s->buffer_.size());
    return s;
}

void Staging::drop(StagedFile* f) {
    for (auto it = files_.begin(); it != files_.end(); ++it)
        if (it->get() == f) {
            f->close();
            std::remove(f->temp_path().c_str());
            files_.erase(it);
            return;
        }
}

bool Staging::commit(std::string& error) {
    for (auto& f : files_)
        if (!f->close()) {
            error = "write error on '" + f->temp_path() + "'";
            return false;
        }
    for (auto& f : files_)
        if (std::rename(f->temp_path().c_str(), f->final_path().c_str()) != 0) {
            error = "cannot rename '" + f->temp_path() + "' to '" + f->final_path() + "': " + std::strerror(errno);
            return false;
        }
    files_.clear();
    return true;
}

void Staging::abandon() {
    for (auto& f : files_) {
        f->close();
        std::remove(f->temp_path().c_str());
    }
    files_.clear();
}

} // namespace prepare
