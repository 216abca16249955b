#include "Library/SerialiserChoice.h"

#include "common/Files.h"
#include "common/Registry.h"
#include "common/Retry.h"
#include "Library/FolderFiles.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/NullStoreIndexDeserialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"

namespace tarnwick {
namespace {

SerialiserOwner StreamOrDom(std::uint32_t setting) {
    return setting == 1 ? MakeSerialiser<StreamXMLStoreIndexSerialiser>()
                        : MakeSerialiser<MSXMLStoreIndexSerialiser>();
}

SerialiserOwner Reindexing(SerialiserOwner wrapped) {
    return MakeSerialiser<UnindexedStoreIndexSerialiser>(std::move(wrapped));
}

SerialiserOwner LoaderByPresence(const std::string& folder, const LoaderChoice& choice,
                                 IndexPresence presence) {
    if (presence == IndexPresence::CannotTell) return NoSerialiser();
    if (presence == IndexPresence::Gone) {
        // Force means an index once more; where there is none it asks for nothing. Kept.
        return choice.reindexIfFlagged ? Reindexing(NoSerialiser())
                                       : MakeSerialiser<NullStoreIndexDeserialiser>();
    }
    SerialiserOwner loader = ChooseReader();
    if (loader == nullptr) return loader;
    const bool scan =
        choice.forceReindex || (choice.reindexIfFlagged && IsFolderMarkedChanged(folder));
    return scan ? Reindexing(std::move(loader)) : std::move(loader);
}

}  // namespace

IndexPresence LookForIndex(const std::string& folder, FolderType folderType) {
    if (FileExists(IndexFilePath(folder, folderType))) return IndexPresence::There;
    return IsGone(GetLastError()) ? IndexPresence::Gone : IndexPresence::CannotTell;
}

bool IsAlwaysScanned(FolderType folderType) {
    static const bool calendars = RegistryDwordOr(kProductKey, "Calendar ReIndex Mode", 0) != 0;
    return folderType == kCalendarFolder && calendars;
}

SerialiserOwner ChooseLoader(const std::string& folder, FolderType folderType,
                             const LoaderChoice& choice, IndexPresence presence) {
    SerialiserOwner loader = LoaderByPresence(folder, choice, presence);
    if (loader == nullptr || !IsAlwaysScanned(folderType)) return loader;
    return Reindexing(std::move(loader));
}

SerialiserOwner ChooseReader() {
    return StreamOrDom(StoredIndexSettings().streamDeserialisation);
}

SerialiserOwner ChooseSaver() {
    return StreamOrDom(StoredIndexSettings().streamSerialisation);
}

bool SaverRequiresFullLoad() {
    const SerialiserOwner saver = ChooseSaver();
    return saver != nullptr && saver->RequiresFullLoad();
}

bool SaveByChoice(StoreIndex& index, const std::string& folder, FolderType folderType) {
    const SerialiserOwner saver = ChooseSaver();
    if (saver == nullptr) return false;
    // A saver that always writes the whole file would lose what was not loaded.
    if (saver->RequiresFullLoad() && !index.IsWhole()) return false;
    return saver->Serialise(index, folder, folderType);
}

}  // namespace tarnwick
