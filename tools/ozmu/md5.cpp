#include "tool.h"

namespace ozmu_tool {

int md5(int argc, char **argv, const Io &io)
{
    (void)argc;
    (void)argv;
    return usage_error(io, "md5", "not available yet");
}

}  // namespace ozmu_tool
