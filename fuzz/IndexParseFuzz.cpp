// Any bytes load in every mode, whatever pieces they come in, always to the same entries.
#include "fuzz/IndexFuzz.h"

using namespace tarnwick;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    testing::MemoryIndexFile file(std::string(reinterpret_cast<const char*>(data), size));
    const IdSet known{"A", "B"};
    for (std::uint32_t mode = kLoadHeader; mode <= kLoadFull; ++mode) {
        for (const IdSet* ids : {static_cast<const IdSet*>(nullptr), &known}) {
            IndexLoad load;
            load.mode = mode;
            load.knownIds = ids;
            load.garbageThreshold = 2;
            StoreIndex whole;
            StoreIndex pieces;
            file.step = 8192;
            const std::uint32_t status = file.Load(whole, load);
            file.step = 1;
            fuzz::Require(file.Load(pieces, load) == status);
            fuzz::Require(fuzz::Content(whole) == fuzz::Content(pieces));
            for (const StoreIndex::Entry& entry : whole.InUidOrder()) {
                fuzz::Require(entry.ItemOffset() + std::uint64_t{entry.ItemLength()} <= size);
                fuzz::Require(whole.FindById(entry.Id()) == &entry);
                fuzz::Require(whole.FindByPosition(entry.Idx()) == &entry);
            }
        }
    }
    return 0;
}
