#include <limits>

#include "common/Files.h"
#include "common/Text.h"
#include "provider/CalendarPaths.h"
#include "provider/ModuleState.h"
#include "provider/Operations.h"

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

void WriteChunk(AppointmentItemRecord& record, OpenMode mode) {
    File item(ItemPath(record), mode);
    if (!item.IsOpen()) return;
    // Up to the first NUL: callers hand over text.
    const std::string_view content = FieldText(record.data);
    record.length = static_cast<std::int32_t>(content.size());
    // Callers are told of success whether or not the file took the bytes.
    static_cast<void>(item.Write(content));
    item.Close();
}

constexpr std::int32_t OneBehind(std::int32_t offset) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(offset) + 1);
}
static_assert(OneBehind(std::numeric_limits<std::int32_t>::max()) ==
              std::numeric_limits<std::int32_t>::min());

}  // namespace

void WriteFirstItemChunk(AppointmentItemRecord& record) {
    WriteChunk(record, kOpenTruncate);
}

void WriteNextItemChunk(AppointmentItemRecord& record) {
    WriteChunk(record, kOpenAppend);
}

bool ReadNextItemChunk(AppointmentItemRecord& record) {
    File item(ItemPath(record), kOpenRead);
    // Nothing was read, so the offset stays.
    if (!item.IsOpen()) return false;
    auto& offset = Shared().itemReadOffset;
    // The offset moves on by one before each read, so that a byte is skipped between two chunks:
    // kept, since writers of long items, tarnwick-admin among them, put a filler there.
    const std::int32_t start = OneBehind(offset.fetch_add(1));
    std::uint32_t count = 0;
    if (item.Seek(start)) count = item.Read(record.data, sizeof record.data).value_or(0);
    record.length = static_cast<std::int32_t>(count);
    item.Close();
    offset += static_cast<std::int32_t>(count);
    return count > 0;
}

bool ReadFirstItemChunk(AppointmentItemRecord& record) {
    Shared().itemReadOffset = kBeforeFirstByte;
    return ReadNextItemChunk(record);
}

void StoreItemSize(AppointmentItemRecord& record) {
    Shared().itemReadOffset = kBeforeFirstByte;
    const auto found = DirectoryScan(ItemPath(record)).Next();
    // The time and not the size: kept for compatibility.
    record.length = found ? static_cast<std::int32_t>(found->lastAccess.dwLowDateTime) : 0;
}

void DeleteItem(const AppointmentItemRecord& record) {
    // Deleted, missing or in use, the answer is the same: kept for compatibility.
    RemoveFile(ItemPath(record));
}

}  // namespace tarnwick
