#include "tool.h"

namespace ozmu_tool {

int resize(int argc, char **argv, const Io &io)
{
    (void)argc;
    (void)argv;
    return usage_error(io, "resize", "not available yet");
}

}  // namespace ozmu_tool
