// A file that loads is changed and saved, in place where that is possible; what is loaded then is
// what was in memory. The input is three bytes that choose the changes, and the file.
#include "fuzz/IndexFuzz.h"

using namespace tarnwick;

namespace {

StoreIndex::Entry* Pick(const StoreIndex& index, std::uint8_t choice) {
    if (index.Count() == 0) return nullptr;
    auto at = index.InUidOrder().begin();
    for (std::size_t step = choice % index.Count(); step != 0; --step) ++at;
    return &*at;
}

// An entry that comes twice in the file comes back when the first is removed.
bool HasTwice(const std::string& bytes, std::string_view id) {
    const std::string start = "\"" + std::string(id) + "\"";
    return bytes.find(start, bytes.find(start) + 1) != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) return 0;
    testing::MemoryIndexFile file(std::string(reinterpret_cast<const char*>(data) + 3, size - 3));
    StoreIndex index;
    if (file.Load(index) != kLoadFull) return 0;
    if (auto* entry = Pick(index, data[0])) {
        index.SetProperty(*entry, "X", std::string(data[1], '\xE9'));
    }
    auto* const victim = Pick(index, data[2]);
    if (victim != nullptr && !HasTwice(file.bytes, victim->Id())) index.Remove(*victim);
    if (data[0] % 2 == 0) index.Add("N");
    fuzz::Require(file.Save(index));
    StoreIndex fresh;
    fuzz::Require(file.Load(fresh) == kLoadFull);
    fuzz::Require(fresh.LastUid() == index.LastUid());
    fuzz::Require(fuzz::Content(fresh) == fuzz::Content(index));
    return 0;
}
