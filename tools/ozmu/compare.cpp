#include "tool.h"

namespace ozmu_tool {

int compare(int argc, char **argv, const Io &io)
{
    (void)argc;
    (void)argv;
    return usage_error(io, "compare", "not available yet");
}

}  // namespace ozmu_tool
