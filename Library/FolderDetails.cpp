#include "Library/FolderDetails.h"

#include "common/Files.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

void AppendNumber(std::string& text, const char* name, std::uint64_t number) {
    text.append(name).append("\t").append(std::to_string(number)).append("\r\n");
}

}  // namespace

FolderDetails DetailsOf(const StoreIndex& index) {
    FolderDetails details;
    details.lastUid = index.LastUid();
    for (const StoreIndex::Entry& entry : index.InPositionOrder()) {
        ++details.items;
        if (entry.Property("READ") != "1") ++details.unread;
        const std::int64_t size = ParseInt64(entry.Property("SIZE").value_or(""));
        if (size > 0) details.size += static_cast<std::uint64_t>(size);
    }
    return details;
}

std::string FolderDetailsText(const FolderDetails& details) {
    std::string text;
    AppendNumber(text, "ITEMS", details.items);
    AppendNumber(text, "UNREAD", details.unread);
    AppendNumber(text, "SIZE", details.size);
    AppendNumber(text, "LASTUID", details.lastUid);
    return text;
}

std::string FolderDetailsPath(const std::string& dataDirectory, const std::string& postoffice,
                              const std::string& folder) {
    return FormatPath("%s\\MAILROOT\\%s\\%s\\_FOLDER.DAT", {dataDirectory, postoffice, folder});
}

bool WriteFolderDetails(const std::string& path, const FolderDetails& details) {
    File file(path, kOpenTruncate);
    return file.IsOpen() && file.Write(FolderDetailsText(details)) && file.Close();
}

}  // namespace tarnwick
