#include <unistd.h>

#include "tool.h"

int main(int argc, char **argv)
{
    ozmu_tool::Io io;
    io.progress = isatty(fileno(stderr)) != 0;
    return ozmu_tool::run(argc, argv, io);
}
