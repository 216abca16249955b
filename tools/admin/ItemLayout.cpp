#include "tools/admin/ItemLayout.h"

namespace tarnwick::admin {

std::string LaidOutForChunks(std::string_view content) {
    std::string file;
    file.reserve(content.size() + content.size() / kItemChunkSize);
    while (content.size() > kItemChunkSize) {
        file.append(content.substr(0, kItemChunkSize));
        file += kItemFiller;
        content.remove_prefix(kItemChunkSize);
    }
    return file.append(content);
}

std::string ReadInChunks(std::string_view file) {
    std::string content;
    for (std::size_t at = 0; at < file.size(); at += kItemChunkSize + 1) {
        content.append(file.substr(at, kItemChunkSize));
    }
    return content;
}

std::optional<std::size_t> FirstLostByte(std::string_view file) {
    for (std::size_t at = kItemChunkSize; at < file.size(); at += kItemChunkSize + 1) {
        if (file[at] != kItemFiller) return at;
    }
    return std::nullopt;
}

}  // namespace tarnwick::admin
