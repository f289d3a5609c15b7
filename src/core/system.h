// System helpers with their file locations injectable, for tests.
#pragma once
#include <cstdint>

namespace ozmu::core {

// Reads "xx:xx:xx:xx:xx:xx" from the file named by path_format formatted with index.
// addr[6] and addr[7] receive the first and fifth characters of the formatted path.
int read_mac_addr(const char *path_format, int index, uint8_t addr[8]);

inline constexpr const char *kWlanAddressPath = "/sys/class/net/wlan%d/address";

}  // namespace ozmu::core
