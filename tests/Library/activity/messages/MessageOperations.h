// The edits of a message, each on one on which it has something to do.
#pragma once

#include "common/Guid.h"
#include "common/Registry.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/Faults.h"

namespace tarnwick::testing {

// The message's path, without an allocation.
inline const char* MessageIn(const std::string& folder) {
    static char path[MAX_PATH];
    std::snprintf(path, sizeof path, "%s\\m", folder.c_str());
    return path;
}

inline int SetField(const std::string& folder) {
    return SetMessageHeaderField(MessageIn(folder), "A", "1", true), 1;
}
inline int Attach(const std::string& folder) {
    return AddAttachmentToMessage(MessageIn(folder), {}, {"foo", 3});
}

// They need "UID Branding Enabled" to be set, and a source of identifiers that is always the same.
inline std::vector<Operation> MessageOperations() {
    static const std::string kOld = "X-UID: 1\r\nX-TWTempFlags: f\r\n\r\nbody\r\n";
    // Of more blocks than one.
    static const std::string kLong = kOld + std::string(200'000, 'b');
    struct Row {
        const char* name;
        const std::string& before;
        int (*run)(const std::string& folder);
        const char *call, *callsLikeIt, *death;
    };
    const Row rows[] = {
        {"flags", kOld,
         [](const std::string& in) { return SetMessageTempFlags(in, "m", "g", true); },
         "0 1 new|1 1 old|6 1 new|7 1 old|8 1 _m=new m=old|9 1 _m=new|",
         "0 1 new|1 1 old|8 1 _m=new m=old|9 1 _m=new|",
         "1 old|3 _m= m=old|6 _m=new m=old|9 _m=new|"},
        {"uid", kOld,
         [](const std::string& in) { return SetMessageUid(in, "m", 1, 2, std::nullopt); },
         "0 1 new|1 1 old|2 1|3 1 old|6 1 new|7 1 old|8 1 _m=new m=old|9 1 _m=new|",
         "0 1 new|1 1 old|2 1|3 1 old|8 1 _m=new m=old|9 1 _m=new|",
         "1 old|3 _m= m=old|6 _m=new m=old|9 _m=new|"},
        {"strip", kOld,
         [](const std::string& in) { return StripMessageUidAndFlags(in, "m", 1, 2); },
         "0 1 new|1 1 old|6 1 new|7 1 old|8 1 _m=new m=old|9 1 _m=new|",
         "0 1 new|1 1 old|8 1 _m=new m=old|9 1 _m=new|",
         "1 old|3 _m= m=old|6 _m=new m=old|9 _m=new|"},
        {"field", kLong, SetField, "0 1 new|1 1 old|12 1 new|13 1 old|15 1 _m=new|",
         "0 1 new|1 1 old|15 1 _m=new|",
         "1 old|3 _m= m=old|6 _m=part m=old|12 _m=new m=old|15 _m=new|"},
        {"attach", kLong, Attach,
         "0 1 new|1 1 m=|2 1 old|12 1 new|13 1 old|14 1 _m=new m=old|15 1 _m=new|",
         "0 1 new|1 1 m=|2 1 old|14 1 _m=new m=old|15 1 _m=new|",
         "1 old|3 _m= m=old|6 _m=part m=old|12 _m=new m=old|15 _m=new|"},
        {"has", kOld, [](const std::string& in) { return HasMessageTempFlags(in, "m"); },
         "0 1 old|1 0 old|", "0 1 old|1 0 old|", "1 old|"},
    };
    std::vector<Operation> operations;
    for (const Row& row : rows) {
        operations.push_back(
            {row.name,
             [&before = row.before](const std::string& folder) {
                 WriteBytesTo(folder + "\\m", before);
             },
             [run = row.run](const std::string& folder) { return std::to_string(run(folder)); },
             {{Fault::Call, row.call},
              {Fault::CallsLikeIt, row.callsLikeIt},
              {Fault::Death, row.death},
              {Fault::Memory, row.name == std::string("has") ? "0 old|" : "1 old|"}}});
    }
    return operations;
}

}  // namespace tarnwick::testing
