#include "tool.h"

namespace ozmu_tool {

int keyframes(int argc, char **argv, const Io &io)
{
    (void)argc;
    (void)argv;
    return usage_error(io, "keyframes", "not available yet");
}

}  // namespace ozmu_tool
