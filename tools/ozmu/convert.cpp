#include "tool.h"

namespace ozmu_tool {

int convert(int argc, char **argv, const Io &io)
{
    (void)argc;
    (void)argv;
    return usage_error(io, "convert", "not available yet");
}

}  // namespace ozmu_tool
