#include "core/system.h"

#include <cstdio>
#include <cstring>

#include "ozmu.h"

namespace ozmu::core {

int read_mac_addr(const char *path_format, int index, uint8_t addr[8])
{
    std::memset(addr, 0, 8);
    char path[80];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(path, sizeof path, path_format, index);
#pragma GCC diagnostic pop
    std::FILE *file = std::fopen(path, "r");
    if (!file)
        return -1;
    unsigned field[6];
    const int converted = std::fscanf(file, "%02x:%02x:%02x:%02x:%02x:%02x", &field[0], &field[1],
                                      &field[2], &field[3], &field[4], &field[5]);
    if (converted < 6) {
        std::fclose(file);
        return -1;
    }
    for (int i = 0; i < 6; ++i)
        addr[i] = static_cast<uint8_t>(field[i]);
    // Two more bytes come from the path text; callers read only the first six.
    addr[6] = static_cast<uint8_t>(path[0]);
    addr[7] = static_cast<uint8_t>(path[4]);
    std::fclose(file);
    return 0;
}

}  // namespace ozmu::core

namespace {
char version_text[64];  // the library's one static buffer
}

extern "C" {

const char *ozmu_version(void)
{
    std::snprintf(version_text, sizeof version_text, "%s %s\n", __DATE__, __TIME__);
    return version_text;
}

int ozmu_get_temp_path(char *buf)
{
    std::memcpy(buf, "/tmp/", 6);
    return 5;
}

int ozmu_get_mac_addr(int index, uint8_t addr[8])
{
    return ozmu::core::read_mac_addr(ozmu::core::kWlanAddressPath, index, addr);
}

}  // extern "C"
