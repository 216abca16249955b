// Index files read and written by the platform's XML document object model.
#pragma once

#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"

namespace tarnwick {

// Keeps no byte extents: what it loaded or saved is written in full by the next save. COM failures
// are thrown as _com_error, and so is a property name that XML does not take; a document that
// cannot be created or loaded is status 0 or false. A save touches the file when its whole text is
// at hand; a write that then fails leaves it cut short. The calling thread needs no COM of its own.
class MSXMLStoreIndexSerialiser : public BackedUpIndexSerialiser {
  public:
    // Whether it writes the older header (decimal LASTUID, entries in order of position) stands in
    // the registry; it does unless told otherwise.
    MSXMLStoreIndexSerialiser();
    // The eleventh operation of its table.
    virtual ~MSXMLStoreIndexSerialiser() = default;

    bool Serialise(StoreIndex& index, const std::string& folder, FolderType folderType) override;
    // Reads everything whatever the request; entries that a stream save blanked are left out.
    std::uint32_t Deserialise(StoreIndex& index, const std::string& folder, FolderType folderType,
                              const DeserialiseRequest& request) override;
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return false; }

  private:
    bool oldFormat_;
};

}  // namespace tarnwick
