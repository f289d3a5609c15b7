// The ozmu tool, run in-process: each row gives the arguments, the exit status, and what standard
// output, standard error and any written file must hold. "{data}" stands for tests/data and
// "{tmp}" for a fresh folder of the test's own. Expected outputs recorded from FFmpeg sit beside
// the media they describe (tests/data/*/make_*.sh made both).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tool.h"

namespace {

namespace fs = std::filesystem;

struct Case {
    const char *name;
    std::vector<std::string> args;  // after "ozmu"
    int exit_status;
    const char *stdout_file = nullptr;      // stdout equals this file ({data}/...)
    const char *stdout_contains = nullptr;  // or holds this text
    const char *stderr_contains = nullptr;
    const char *written = nullptr;         // a file the command must have written ({tmp}/...)
    const char *written_equals = nullptr;  // and the file it must equal
    const char *not_written = nullptr;     // a file a refused command must not have created
};

// clang-format off
const Case kCases[] = {
    {"help", {"help"}, 0, nullptr, "ozmu keyframes"},
    {"unknown_command", {"frobnicate"}, 2, nullptr, nullptr, "unknown command"},
    {"no_command", {}, 2, nullptr, nullptr, "usage"},
    // keyframes
    // headers
    // md5
    // compare
    // convert
    // resize
};
// clang-format on

std::string slurp(FILE *f)
{
    std::string s;
    std::rewind(f);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    return s;
}

std::string slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string expand(std::string s, const std::string &tmp)
{
    for (auto [key, value] :
         {std::pair<std::string, std::string>{"{data}", OZMU_TEST_DATA_DIR}, {"{tmp}", tmp}}) {
        for (size_t at; (at = s.find(key)) != std::string::npos;)
            s.replace(at, key.size(), value);
    }
    return s;
}

class Tool : public testing::TestWithParam<Case> {};

TEST_P(Tool, Runs)
{
    const Case &c = GetParam();
    const fs::path tmp =
        fs::temp_directory_path() / ("ozmu_tool_" + std::to_string(getpid()) + "_" + c.name);
    fs::remove_all(tmp);
    fs::create_directories(tmp);

    std::vector<std::string> words{"ozmu"};
    for (const std::string &a : c.args)
        words.push_back(expand(a, tmp.string()));
    std::vector<char *> argv;
    for (std::string &w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);

    ozmu_tool::Io io;
    io.in = std::tmpfile();
    io.out = std::tmpfile();
    io.err = std::tmpfile();
    ASSERT_TRUE(io.in && io.out && io.err);
    const int status = ozmu_tool::run(static_cast<int>(words.size()), argv.data(), io);
    const std::string out = slurp(io.out), err = slurp(io.err);
    std::fclose(io.in);
    std::fclose(io.out);
    std::fclose(io.err);

    EXPECT_EQ(status, c.exit_status) << "stderr: " << err;
    if (c.stdout_file) {
        EXPECT_EQ(out, slurp(expand(c.stdout_file, tmp.string())));
    }
    if (c.stdout_contains) {
        EXPECT_NE(out.find(c.stdout_contains), std::string::npos) << out;
    }
    if (c.stderr_contains) {
        EXPECT_NE(err.find(c.stderr_contains), std::string::npos) << err;
    }
    if (c.written) {
        const std::string path = expand(c.written, tmp.string());
        ASSERT_TRUE(fs::exists(path)) << path;
        if (c.written_equals) {
            EXPECT_EQ(slurp(path), slurp(expand(c.written_equals, tmp.string())));
        }
    }
    if (c.not_written) {
        EXPECT_FALSE(fs::exists(expand(c.not_written, tmp.string())));
    }
    if (!HasFailure())
        fs::remove_all(tmp);
}

INSTANTIATE_TEST_SUITE_P(Ozmu, Tool, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case> &param) {
                             return param.param.name;
                         });

}  // namespace
