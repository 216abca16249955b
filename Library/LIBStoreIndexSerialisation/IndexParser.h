// One parse of an index file.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"
#include "Library/LIBStoreIndexSerialisation/IndexReader.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

enum class ParseResult { Malformed, Parsed, ParseAgain };

struct TagAttribute {
    std::string_view name;
    std::string_view value;
};

// Lives for one parse. A malformation does not stop it, since a failed load hands out what can be
// read; the first one is reported at the end.
class IndexParser {
  public:
    IndexParser(StoreIndex& index, ByteSource& source, const IndexLoad& load)
        : index_(index), reader_(source), load_(load), knownIds_(load.knownIds) {}

    // ParseAgain: the index was emptied, because a save must be able to write the whole file and
    // not all of it was to be read; or, when identifiers suffice, because a property is damaged.
    ParseResult Run(const std::string& folder);

  private:
    using Texts = std::initializer_list<std::string_view>;
    static constexpr std::uint64_t kLargestOffset = std::numeric_limits<std::uint32_t>::max();

    void TakeTag(std::string_view tag);
    void TakeRootStart(std::string_view tag);
    void TakeRootEnd(std::string_view tag);
    void TakeEntryTag(std::string_view name, bool isEnd);
    void TakeEntryStart(std::string_view tag, bool closesItself);
    void TakeEntryEnd();
    void TakeAttributes(std::string_view tag);
    bool IsToBeSkipped(const TagAttribute& attribute);
    void BeginEntry(std::uint64_t offset);
    void StoreAttribute(const TagAttribute& attribute);
    void CheckUidOrder(std::uint32_t uid);
    void TakePropertyTag(std::string_view name, bool isEnd);
    void TakePropertyStart(std::string_view name);
    void TakePropertyEnd(std::string_view name);
    bool MayTakeWrittenProperties() const;
    void TakeWrittenEntries();
    void TakeWrittenProperties();
    bool TakeWrittenEntryStart();
    void StoreProperty(std::string_view name, std::string_view text);

    void DistrustExtents();
    // Whether there is nothing more to be had from the file.
    bool ReadsWhole() const {
        return knownIds_ == nullptr && (load_.mode == kLoadFull || load_.identifiersSuffice);
    }
    bool MustRewrite() const { return foreignLayout_ || blanked_ >= load_.garbageThreshold; }
    bool CanFindRootEnd() const;
    ParseResult Finish(const std::string& folder);
    ParseResult ReportMalformation(const std::string& folder) const;
    void Malformed(Texts texts);
    // Where a load of the identifiers alone would not look.
    void PropertyMalformed(Texts texts);
    bool OnlyPropertiesDamaged() const {
        return !wellFormed_ && !identifiersDamaged_ && blanked_ < load_.garbageThreshold;
    }
    ParseResult ReadAgain();

    StoreIndex& index_;
    IndexReader reader_;
    const IndexLoad& load_;
    const IdSet* knownIds_;

    bool rootStarted_ = false;
    bool rootEnded_ = false;
    bool rootEndAsWritten_ = false;
    std::uint64_t rootEndOffset_ = 0;
    bool currentFormat_ = false;
    bool insideEntry_ = false;
    bool entryLive_ = false;  // the draft holds what is to become an entry
    bool entrySkipped_ = false;
    bool entryHasId_ = false;
    bool foreignLayout_ = false;  // overwriting bytes in place would not fit
    bool joinText_ = false;       // the last tag was passed over
    std::optional<std::string> openProperty_;
    IndexEntryDraft draft_;
    std::uint64_t entryOffset_ = 0;
    std::int64_t previousUid_ = -1;
    std::uint32_t blanked_ = 0;
    std::uint32_t idx_ = 1;
    std::uint32_t seq_ = 1;

    bool wellFormed_ = true;
    bool identifiersDamaged_ = false;
    std::string malformation_;  // the first one
};

}  // namespace tarnwick
