#include "provider/AppointmentItems.h"

#include "common/Files.h"
#include "common/Text.h"
#include "provider/CalendarPaths.h"
#include "provider/HereOrRemote.h"
#include "provider/ModuleState.h"

namespace tarnwick {
namespace {

constexpr std::int32_t kBeforeFirstByte = -1;

std::string ItemPath(const AppointmentItemRecord& record) {
    std::string path = FileInCalendarFolder(FieldText(record.postoffice), FieldText(record.mailbox),
                                            FieldText(record.itemFileName));
    // The empty path, which names no file, for one that would be another's.
    if (FillsPathCapacity(path)) path.clear();
    return path;
}

bool WriteChunk(AppointmentItemRecord& record, OpenMode mode) {
    File item(ItemPath(record), mode);
    if (!item.IsOpen()) return true;
    const std::string_view content = FieldText(record.data);
    record.length = static_cast<std::int32_t>(content.size());
    // Callers are told of success whether or not the file took the bytes.
    static_cast<void>(item.Write(content));
    item.Close();
    return true;
}

// The offset moves on by one before each read: between two chunks a byte is skipped, which callers
// have come to rely on. It wraps around rather than overflow.
std::int32_t AdvanceReadOffset(std::uint32_t count) {
    auto& offset = Shared().itemReadOffset;
    return offset.fetch_add(static_cast<std::int32_t>(count)) + static_cast<std::int32_t>(count);
}

}  // namespace

bool WriteFirstItemChunk(AppointmentItemRecord& record) {
    return WriteChunk(record, kOpenTruncate);
}

bool WriteNextItemChunk(AppointmentItemRecord& record) {
    return WriteChunk(record, kOpenAppend);
}

bool ReadNextItemChunk(AppointmentItemRecord& record) {
    File item(ItemPath(record), kOpenRead);
    if (!item.IsOpen()) return false;
    const std::int32_t offset = AdvanceReadOffset(1);
    std::uint32_t count = 0;
    if (item.Seek(offset)) count = item.Read(record.data, sizeof record.data).value_or(0);
    record.length = static_cast<std::int32_t>(count);
    item.Close();
    AdvanceReadOffset(count);
    return count > 0;
}

bool ReadFirstItemChunk(AppointmentItemRecord& record) {
    Shared().itemReadOffset = kBeforeFirstByte;
    return ReadNextItemChunk(record);
}

bool StoreItemSize(AppointmentItemRecord& record) {
    Shared().itemReadOffset = kBeforeFirstByte;
    const auto found = DirectoryScan(ItemPath(record)).Next();
    // The time and not the size: that is what callers have always been given.
    record.length = found ? static_cast<std::int32_t>(found->lastAccess.dwLowDateTime) : 0;
    return false;
}

bool DeleteItem(const AppointmentItemRecord& record) {
    RemoveFile(ItemPath(record));
    return true;
}

std::uint32_t RewriteItem(AppointmentItemRecord& record) {
    return HereOrRemote("AppointmentItemWriteFirstChunk", {Parameter(record, false)}, [&] {
        DeleteItem(record);
        return WriteChunk(record, kOpenTruncate);
    });
}

}  // namespace tarnwick
