#include "tools/admin/store/HeldBlock.h"

#include "common/Files.h"
#include "common/Waits.h"
#include "tools/admin/store/BlockRule.h"
#include "tools/admin/store/RepairFiles.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint32_t kLookAgainMilliseconds = 200;

std::optional<FoundFile> StaleBlock(const std::string& path) {
    const auto rule = RuleOf(std::string(ParentOf(path)), std::string(NameOf(path)));
    auto found = DirectoryScan(path).Next();
    if (!rule || !found || !IsStale(*rule, path, ToUint64(found->lastWrite))) return std::nullopt;
    return found;
}

// Its existence is the lock. The system deletes it with its handle, whatever ends the process.
FileHandle CreateBlock(const std::string& path) {
    return FileHandle(CreateFileA(path.c_str(), GENERIC_WRITE | DELETE, kShareReadWrite, nullptr,
                                  CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

}  // namespace

bool BreakBlock(const std::string& path) {
    const auto before = StaleBlock(path);
    if (!before) return false;
    WaitMilliseconds(kLookAgainMilliseconds);
    const auto now = StaleBlock(path);
    if (!now || ToUint64(now->lastWrite) != ToUint64(before->lastWrite)) return false;
    // Writers leave them empty; what stands in one is no writer's.
    return now->size == 0 ? RemoveFile(path) : SetAside(path).has_value();
}

HeldBlock::HeldBlock(const std::string& path) {
    const auto rule = RuleOf(std::string(ParentOf(path)), std::string(NameOf(path)));
    if (!rule) return;
    BreakBlock(path);
    const std::uint32_t limit = rule->patienceSeconds + kMoreWaits;
    for (std::uint32_t waits = 0; waits <= limit; ++waits) {
        block_ = CreateBlock(path);
        if (block_.IsValid() || GetLastError() == ERROR_PATH_NOT_FOUND) return;
        WaitMilliseconds(kPollMilliseconds);
        BreakBlock(path);
    }
}

}  // namespace tarnwick::admin
