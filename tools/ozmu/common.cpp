#include <cerrno>
#include <cstring>
#include <string>

#include "tool.h"

namespace ozmu_tool {

Args::Args(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        words_.emplace_back(argv[i]);
    split_positionals();
}

void Args::split_positionals()
{
    positional_.clear();
    for (const std::string &w : words_)
        if (w == "-" || w.rfind("--", 0) != 0)
            positional_.push_back(w);
}

bool Args::take(std::string_view name, std::string *value)
{
    for (size_t i = 0; i < words_.size(); ++i) {
        const std::string &w = words_[i];
        if (w.rfind("--", 0) != 0 || w.size() < 2 + name.size() ||
            w.compare(2, name.size(), name) != 0)
            continue;
        if (w.size() == 2 + name.size()) {  // "--name value"
            if (i + 1 >= words_.size()) {
                missing_value_ = true;
                words_.erase(words_.begin() + static_cast<long>(i));
                split_positionals();
                return false;
            }
            *value = words_[i + 1];
            words_.erase(words_.begin() + static_cast<long>(i),
                         words_.begin() + static_cast<long>(i) + 2);
            split_positionals();
            return true;
        }
        if (w[2 + name.size()] == '=') {  // "--name=value"
            *value = w.substr(3 + name.size());
            words_.erase(words_.begin() + static_cast<long>(i));
            split_positionals();
            return true;
        }
    }
    return false;
}

bool Args::take_flag(std::string_view name)
{
    for (size_t i = 0; i < words_.size(); ++i) {
        if (words_[i].size() == 2 + name.size() && words_[i].rfind("--", 0) == 0 &&
            words_[i].compare(2, name.size(), name) == 0) {
            words_.erase(words_.begin() + static_cast<long>(i));
            split_positionals();
            return true;
        }
    }
    return false;
}

std::string Args::unknown_option() const
{
    for (const std::string &w : words_)
        if (w != "-" && w.rfind("--", 0) == 0)
            return w;
    return {};
}

int fail(const Io &io, std::string_view file, std::string_view what)
{
    progress_done(io);
    std::fprintf(io.err, "ozmu: %.*s: %.*s\n", static_cast<int>(file.size()), file.data(),
                 static_cast<int>(what.size()), what.data());
    return kExitBadInput;
}

int usage_error(const Io &io, std::string_view command, std::string_view what)
{
    std::fprintf(io.err, "ozmu %.*s: %.*s\n(ozmu help shows the commands and their options)\n",
                 static_cast<int>(command.size()), command.data(), static_cast<int>(what.size()),
                 what.data());
    return kExitUsage;
}

bool read_file(const Io &io, const std::string &path, std::vector<uint8_t> *data,
               std::string *error)
{
    data->clear();
    FILE *f = path == "-" ? io.in : std::fopen(path.c_str(), "rb");
    if (!f) {
        *error = std::strerror(errno);
        return false;
    }
    uint8_t chunk[1 << 16];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        data->insert(data->end(), chunk, chunk + got);
    const bool failed = std::ferror(f) != 0;
    if (failed)
        *error = "read error";
    if (f != io.in)
        std::fclose(f);
    return !failed;
}

bool Output::commit(std::string *error)
{
    if (path_ == "-") {
        if (std::fwrite(bytes_.data(), 1, bytes_.size(), io_.out) != bytes_.size() ||
            std::fflush(io_.out) != 0) {
            *error = "write error";
            return false;
        }
        return true;
    }
    const std::string temporary = path_ + ".ozmu-partial";
    FILE *f = std::fopen(temporary.c_str(), "wb");
    if (!f) {
        *error = std::strerror(errno);
        return false;
    }
    bool ok = std::fwrite(bytes_.data(), 1, bytes_.size(), f) == bytes_.size();
    ok = (std::fclose(f) == 0) && ok;
    if (!ok || std::rename(temporary.c_str(), path_.c_str()) != 0) {
        *error = ok ? std::strerror(errno) : "write error";
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

bool parse_size(std::string_view text, int *width, int *height)
{
    const size_t x = text.find('x');
    if (x == std::string_view::npos || x == 0 || x + 1 >= text.size())
        return false;
    long v[2] = {0, 0};
    const std::string_view parts[2] = {text.substr(0, x), text.substr(x + 1)};
    for (int i = 0; i < 2; ++i) {
        for (char c : parts[i]) {
            if (c < '0' || c > '9' || v[i] > 16384)
                return false;
            v[i] = v[i] * 10 + (c - '0');
        }
        if (v[i] < 1 || v[i] > 16384)
            return false;
    }
    *width = static_cast<int>(v[0]);
    *height = static_cast<int>(v[1]);
    return true;
}

void progress(const Io &io, const char *what, long done, long total)
{
    if (!io.progress)
        return;
    if (total > 0)
        std::fprintf(io.err, "\r%s %ld/%ld", what, done, total);
    else
        std::fprintf(io.err, "\r%s %ld", what, done);
    std::fflush(io.err);
}

void progress_done(const Io &io)
{
    if (io.progress)
        std::fprintf(io.err, "\r\033[K");
}

}  // namespace ozmu_tool
