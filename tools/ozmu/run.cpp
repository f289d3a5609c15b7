#include <cstring>

#include "ozmu.h"
#include "tool.h"

namespace ozmu_tool {
namespace {

struct Command {
    const char *name;
    int (*run)(int, char **, const Io &);
    const char *usage;
};

const Command kCommands[] = {
    {"keyframes", keyframes, "keyframes FILE [--json] [--codec h264|hevc|mpeg4]"},
    {"headers", headers, "headers FILE"},
    {"md5", md5, "md5 FILE.y4m [--plain]"},
    {"compare", compare, "compare A.y4m B.y4m [--json]"},
    {"convert", convert,
     "convert IN OUT [--size WxH] [--format F] [--scale WxH] [--matrix bt601|bt709|bt2020] "
     "[--range limited|full] [--siting left|center] [--frame N | --frames] [--to png|y4m]"},
    {"resize", resize, "resize IN.png OUT.png WxH [--slice-rows N]"},
};

void print_help(FILE *f)
{
    std::fprintf(f, "ozmu: media tools over libozmu\nusage:\n");
    for (const Command &c : kCommands)
        std::fprintf(f, "  ozmu %s\n", c.usage);
    std::fprintf(f, "'-' stands for standard input or output.\n");
}

}  // namespace

int run(int argc, char **argv, const Io &io)
{
    if (argc < 2) {
        print_help(io.err);
        return kExitUsage;
    }
    const char *name = argv[1];
    if (!std::strcmp(name, "help") || !std::strcmp(name, "--help") || !std::strcmp(name, "-h")) {
        print_help(io.out);
        return kExitOk;
    }
    if (!std::strcmp(name, "--version")) {
        std::fprintf(io.out, "ozmu, libozmu built %s", ozmu_version());
        return kExitOk;
    }
    for (const Command &c : kCommands)
        if (!std::strcmp(name, c.name))
            return c.run(argc - 1, argv + 1, io);
    std::fprintf(io.err, "ozmu: unknown command '%s'\n", name);
    print_help(io.err);
    return kExitUsage;
}

}  // namespace ozmu_tool
