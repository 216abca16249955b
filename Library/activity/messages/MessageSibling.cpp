#include "Library/activity/messages/MessageSibling.h"

#include "common/Reports.h"

namespace tarnwick {

MessagePaths PathsInFolder(std::string_view directory, std::string_view name) {
    const std::string folder = std::string(directory) + "\\";
    return {folder + std::string(name), folder + "_" + std::string(name)};
}

MessagePaths PathsOfMessage(std::string_view path) {
    const std::size_t nameStart = path.find_last_of("\\/") + 1;
    std::string sibling(path.substr(0, nameStart));
    sibling.append("_").append(path.substr(nameStart));
    return {std::string(path), std::move(sibling)};
}

SiblingFile::~SiblingFile() {
    if (!stays_ && IsOpen()) {
        file_.Close();
        RemoveFile(path_);
    }
}

bool SiblingFile::Finish() {
    stays_ = file_.Close();
    if (!stays_) RemoveFile(path_);
    return stays_;
}

void SwapSiblingIn(const MessagePaths& paths, DeleteRefused deleteRefused) {
    if (RemoveFile(paths.message) || deleteRefused == DeleteRefused::Ignored) {
        MoveToName(paths.sibling, paths.message);
        return;
    }
    PrintStandardOutput(
        "Could not remove original copy of message file. Check if file has readonly set or if "
        "there are permissions issues\r\n");
    RemoveFile(paths.sibling);
}

}  // namespace tarnwick
