#include "tool.h"

namespace ozmu_tool {

int headers(int argc, char **argv, const Io &io)
{
    (void)argc;
    (void)argv;
    return usage_error(io, "headers", "not available yet");
}

}  // namespace ozmu_tool
