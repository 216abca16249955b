// Store folders on disk for the tests of opening, scanning, saving and closing an index.
#pragma once

#include <functional>

#include "Library/FolderFiles.h"
#include "Library/SerialiserChoice.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick::testing {

// A folder of any type with the files A, B and C and an index that knows A and B.
struct StoreFolder {
    explicit StoreFolder(std::uint32_t folderType)
        : type(folderType),
          extension(MessageFileExtension(folderType)),
          index(scratch.Path(folderType == kGroupsFolder ? "_groups.xml" : "_index.xml")) {
        for (const char* name : {"A.", "B.", "C."})
            WriteBytesTo(scratch.Path(name + extension), "");
        WriteBytesTo(index, IndexText("x00000007", Entry("A.", 5) + Entry("B.", 7)));
    }
    std::string Entry(const std::string& name, int uid) const {
        return EntryText(name + extension, uid, "<SUBJECT>" + name + "</SUBJECT>");
    }
    // "5 7 8" for the entries "A.MAI" and so on of the file, read by a loader that scans nothing;
    // "+" behind the UID of one that has its SUBJECT still.
    std::string Stored() const {
        StoreIndex entries;
        SerialiserOwner reader = ChooseReader();
        if (reader->Deserialise(entries, scratch.Path(), type, {}) != kLoadFull) return "damaged";
        std::string text;
        for (const StoreIndex::Entry& entry : entries.InUidOrder()) {
            const std::string name(entry.Id().substr(0, 2));
            text += name + std::to_string(entry.Uid()) +
                    (entry.Property("SUBJECT") == name ? "+ " : " ");
        }
        return text;
    }

    ScratchFolder scratch;
    std::uint32_t type;
    std::string extension;
    std::string index;
};

inline constexpr std::uint32_t kTypes[] = {kMailFolder, kContactsFolder, kCalendarFolder,
                                           kTaskFolder, kGroupsFolder};

// Asks at each call whether it is refused, and with what error; 0 lets it be made.
class AtEachCall : public CallObserver {
  public:
    explicit AtEachCall(std::function<std::uint32_t(const SystemCall&)> ask)
        : ask_(std::move(ask)) {
        SetCallObserver(this);
    }
    ~AtEachCall() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override { return ask_(call); }

  private:
    std::function<std::uint32_t(const SystemCall&)> ask_;
};

// Does something at calls of one name to a file (or with nothing but a name), and may refuse them.
class AtCalls : public AtEachCall {
  public:
    using Act = std::function<std::uint32_t(int count)>;
    AtCalls(std::string name, std::string ending, Act act)
        : AtEachCall([this, name, ending, act](const SystemCall& call) {
              // Reads and writes name no path.
              const bool meant =
                  call.name == name && (call.path.empty() || call.path.ends_with(ending));
              return meant ? act(++count_) : 0U;
          }) {}
    int Count() const { return count_; }

  private:
    int count_ = 0;
};

inline AtCalls::Act Refuse(std::uint32_t error) {
    return [error](int) { return error; };
}

inline std::string TraceOf(ReportRecorder& reports) {
    const std::string joined = reports.Joined(ReportChannel::Trace);
    reports.Take();
    return joined;
}

}  // namespace tarnwick::testing
