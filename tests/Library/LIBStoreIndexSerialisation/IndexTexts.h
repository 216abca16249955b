// Index files for tests.
#pragma once

#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick::testing {

inline std::string Index(std::uint32_t lastUid, std::string_view entries) {
    return IndexHeader(lastUid) + std::string(entries) + std::string(kTrailer);
}

// <ELEMENT ID="id" UID="uid">properties</ELEMENT>
inline std::string Element(std::string_view id, std::string_view uid,
                           std::string_view properties = "<FROM>a</FROM><SUBJECT>b</SUBJECT>") {
    return "<ELEMENT ID=\"" + std::string(id) + "\" UID=\"" + std::string(uid) + "\">" +
           std::string(properties) + "</ELEMENT>";
}

// "A=1 B=2;..." : the entries in UID order, each with its ID, UID, IDX, SEQ and properties.
inline std::string Describe(const StoreIndex& index) {
    std::string text;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) {
        text += std::string(entry.Id()) + " " + std::to_string(entry.Uid()) + " " +
                std::to_string(entry.Idx()) + " " + std::to_string(entry.Seq());
        for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
            text.append(" ").append(entry.Names().Name(at)).append("=").append(entry.Value(at));
        }
        text += ";";
    }
    return text;
}

}  // namespace tarnwick::testing
