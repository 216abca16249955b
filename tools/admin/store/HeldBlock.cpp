#include "tools/admin/store/HeldBlock.h"

#include "common/BlockFile.h"
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

struct RepairRule {
    const std::string& path;
    std::uint32_t limit;

    static bool MayWait(DWORD error, std::uint32_t /*waits*/) {
        return error != ERROR_PATH_NOT_FOUND;
    }
    BlockVerdict AfterWait(DWORD /*error*/, std::uint32_t waits) const {
        if (BreakBlock(path)) return BlockVerdict::TryAgain;
        return waits > limit ? BlockVerdict::GiveUp : BlockVerdict::TryAgain;
    }
};

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

HeldBlock::HeldBlock(const std::string& path) : path_(path) {
    const auto rule = RuleOf(std::string(ParentOf(path)), std::string(NameOf(path)));
    if (!rule) return;
    BreakBlock(path);
    RepairRule waiting{path, rule->patienceSeconds + kMoreWaits};
    held_ = WaitForBlockFile(path, waiting).IsOpen();
    if (!held_) return;
    // Its existence is the lock. Open in this way the system deletes it, whatever ends the process.
    block_ = FileHandle(CreateFileA(path.c_str(), DELETE, kShareReadWrite, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

HeldBlock::~HeldBlock() {
    if (held_ && !block_.IsValid()) RemoveFile(path_);
}

}  // namespace tarnwick::admin
