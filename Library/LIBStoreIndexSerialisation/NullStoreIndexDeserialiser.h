// The loader of a folder that has no index.
#pragma once

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// Loads nothing, successfully; cannot save.
class NullStoreIndexDeserialiser : public StoreIndexSerialiser {
  public:
    bool Serialise(StoreIndex&, const std::string&, FolderType) override { return false; }
    std::uint32_t Deserialise(StoreIndex& index, const std::string&, FolderType,
                              const DeserialiseRequest&) override {
        index.Clear();
        index.SetLoadStatus(kLoadFull);
        return kLoadFull;
    }
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return false; }
    // The eleventh slot; the base has none.
    virtual ~NullStoreIndexDeserialiser() = default;
};

}  // namespace tarnwick
