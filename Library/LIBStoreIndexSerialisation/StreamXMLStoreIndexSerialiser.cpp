#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"

#include "common/Files.h"
#include "common/Retry.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"
#include "Library/LIBStoreIndexSerialisation/IndexReports.h"
#include "Library/LIBStoreIndexSerialisation/IndexSave.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"

namespace tarnwick {

std::uint32_t StreamXMLStoreIndexSerialiser::Deserialise(StoreIndex& index,
                                                         const std::string& folder,
                                                         FolderType folderType,
                                                         const DeserialiseRequest& request) {
    const std::string path = IndexFilePath(folder, folderType);
    IndexLoad load;
    load.mode = request.loadMode;
    load.knownIds = request.knownIds;
    load.garbageThreshold = StoredIndexSettings().garbageThreshold;
    if (request.verifyFiles) {
        load.fileExists = [&](std::string_view id) {
            // A look-up that fails says nothing of the file.
            return FileExists(folder + "\\" + std::string(id)) || !IsGone(GetLastError());
        };
    }
    IndexFileStamp stamp;
    const auto open = [&] {
        auto source = OpenIndexSource(path);
        // While it is open nobody saves, so that the stamp is that of the bytes that are read.
        stamp = StampOf(path).value_or(IndexFileStamp{});
        return source;
    };
    const std::uint32_t status = LoadIndex(index, open, folder, load);
    // Whatever the outcome: the next save asks whether the file is the one that was read.
    index.SetFileStamp(stamp);
    return status;
}

bool StreamXMLStoreIndexSerialiser::Serialise(StoreIndex& index, const std::string& folder,
                                              FolderType folderType) {
    const std::string path = IndexFilePath(folder, folderType);
    SaveKind kind = ChooseSave(index, StampOf(path), folder, path);
    if (kind == SaveKind::Nothing) return true;
    if (kind == SaveKind::Refused) return false;
    ByteBuffer held = SaveRoom();
    IndexFile file(path, kind);
    if (!file.IsOpen()) {
        // The text is kept for compatibility, the name of the other operation included.
        ReportIndexProblem("Failed to deserialise index: " + folder +
                           ". A File Access error occured when opening the file (was retried for "
                           "40 seconds). No data can be written.");
        return false;
    }
    if (kind == SaveKind::InPlace) {
        // Whoever held the file until now may have changed it.
        kind = ChooseSave(index, file.Stamp(), folder, path);
        if (kind == SaveKind::Refused) return false;
        if (kind == SaveKind::Full && !file.CutAt(0)) return false;
    }
    const SaveOutcome outcome = WriteIndex(index, file, path, kind, std::move(held));
    // The cut comes before the close: nobody reads a file with the old tail.
    const bool cut = !outcome.newEnd || file.CutAt(*outcome.newEnd);
    const bool sound = file.Close() && cut && outcome.sound;
    FinishSave(index, sound, StampOf(path).value_or(IndexFileStamp{}));
    return sound;
}

}  // namespace tarnwick
