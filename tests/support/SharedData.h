// Real files that lie beside the project and are not part of it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tarnwick::testing {

// The folder of real files named `kind` ("calendars", "contacts", "messages"); it may be absent.
inline std::filesystem::path SharedDataFolder(const std::string& kind) {
    return std::filesystem::path(TARNWICK_SOURCE_DIR) / ".." / "shared" / "data" / kind;
}

inline std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace tarnwick::testing
