// The ozmu tool: its commands and what they share (argument handling, files, messages).
//
// Every command is a function of its arguments and an Io; it never calls exit(), so the tests
// run it in-process with files standing in for the standard streams. Exit statuses: 0 done,
// 1 bad input (one message naming the file and the fault), 2 usage error.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace ozmu_tool {

inline constexpr int kExitOk = 0;
inline constexpr int kExitBadInput = 1;
inline constexpr int kExitUsage = 2;

struct Io {
    FILE *in = stdin;    // what "-" reads
    FILE *out = stdout;  // what "-" writes, and every report
    FILE *err = stderr;
    bool progress = false;  // a progress line on err (set when err is a terminal)
};

// Arguments after the command's name, with the usual option forms: "--name value",
// "--name=value" and flags; everything else is positional. "-" is positional.
class Args {
public:
    Args(int argc, char **argv);
    // Takes an option's value (and removes it); false when absent. Sets *missing_value when the
    // option was given without one.
    bool take(std::string_view name, std::string *value);
    bool take_flag(std::string_view name);
    // What is left: positionals, and the first option nobody took ("" if none).
    const std::vector<std::string> &positional() const { return positional_; }
    std::string unknown_option() const;
    bool missing_value() const { return missing_value_; }

private:
    std::vector<std::string> words_;
    std::vector<std::string> positional_;
    bool missing_value_ = false;
    void split_positionals();
};

// "ozmu: <file>: <what>" on io.err; returns kExitBadInput.
int fail(const Io &io, std::string_view file, std::string_view what);
// "ozmu <command>: <what>" and the command's usage line on io.err; returns kExitUsage.
int usage_error(const Io &io, std::string_view command, std::string_view what);

// The whole of a file ("-": io.in). false with *error set ("no such file", ...) on failure.
bool read_file(const Io &io, const std::string &path, std::vector<uint8_t> *data,
               std::string *error);

// An output produced whole, then written at once: nothing is created when the command fails
// before commit(). "-" writes io.out.
class Output {
public:
    Output(const Io &io, std::string path) : io_(io), path_(std::move(path)) {}
    std::vector<uint8_t> &bytes() { return bytes_; }
    // Writes the file (through a temporary and a rename); false with *error on failure.
    bool commit(std::string *error);

private:
    const Io &io_;
    std::string path_;
    std::vector<uint8_t> bytes_;
};

// "WxH" with 1 <= W, H <= 16384.
bool parse_size(std::string_view text, int *width, int *height);

// A progress line ("\r<what> <done>/<total>") on io.err when io.progress is set.
void progress(const Io &io, const char *what, long done, long total);
void progress_done(const Io &io);

// The commands. argv[0] is the command's name.
int keyframes(int argc, char **argv, const Io &io);
int headers(int argc, char **argv, const Io &io);
int md5(int argc, char **argv, const Io &io);
int compare(int argc, char **argv, const Io &io);
int convert(int argc, char **argv, const Io &io);
int resize(int argc, char **argv, const Io &io);

// The whole tool: argv[0] is the program, argv[1] the command.
int run(int argc, char **argv, const Io &io);

}  // namespace ozmu_tool
