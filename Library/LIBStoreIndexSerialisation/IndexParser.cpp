#include "Library/LIBStoreIndexSerialisation/IndexParser.h"

#include "common/Reports.h"
#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexReports.h"

namespace tarnwick {
namespace {

// A declaration or the like; it may stand anywhere and means nothing here.
bool IsPassedOver(std::string_view tag) {
    return tag.starts_with('?') || tag.starts_with('!');
}

}  // namespace

ParseResult IndexParser::Run(const std::string& folder) {
    while (reader_.TakeText(joinText_)) {
        if (reader_.Offset() > kLargestOffset) {
            Malformed({malformation::kFileTooLong});
            break;
        }
        joinText_ = openProperty_.has_value();
        if (reader_.SkipComment()) continue;
        const auto tag = reader_.TakeTag();
        if (!tag) break;
        if (IsPassedOver(*tag)) continue;
        joinText_ = false;
        TakeTag(*tag);
        if (MayTakeWrittenProperties()) TakeWrittenEntries();
        if (MustRewrite() && !ReadsWhole()) break;
    }
    return Finish(folder);
}

// Kinds of tags are told apart by how they begin, so that "ELEMENTS" is an entry as well.
void IndexParser::TakeTag(std::string_view tag) {
    const bool isEnd = tag.starts_with('/');
    const std::string_view name = tag.substr(isEnd ? 1 : 0);
    if (BeginsWith(name, kRootName)) {
        if (isEnd) {
            TakeRootEnd(name);
        } else {
            TakeRootStart(name);
        }
    } else if (BeginsWith(name, kEntryName)) {
        TakeEntryTag(name, isEnd);
    } else {
        TakePropertyTag(name, isEnd);
    }
}

void IndexParser::TakeRootStart(std::string_view tag) {
    if (rootStarted_) Malformed({malformation::kSecondRootStart});
    rootStarted_ = true;
    std::uint32_t lastUid = index_.LastUid();
    currentFormat_ = ParseLastUidAttribute(tag, lastUid);
    index_.SetLastUid(lastUid);
    // A header of another length or at another place cannot be overwritten either.
    const bool overwritable = reader_.Offset() == kHeaderLength && tag.size() == kHeaderLength - 2;
    if (!currentFormat_ || !overwritable) DistrustExtents();
    // The root of an empty folder may close itself, as the DOM writes it.
    if (tag.find('/') != std::string_view::npos) rootEnded_ = true;
}

void IndexParser::TakeRootEnd(std::string_view tag) {
    if (!rootStarted_) Malformed({malformation::kRootEndBeforeStart});
    if (rootEnded_) Malformed({malformation::kSecondRootEnd});
    rootEnded_ = true;
    rootEndAsWritten_ = tag == kRootName;
    rootEndOffset_ = reader_.TagOffset();
}

// Whether an in-place save will find where its trailer goes.
bool IndexParser::CanFindRootEnd() const {
    return rootEndAsWritten_ && reader_.BytesRead() - rootEndOffset_ <= kRootEndSearch;
}

void IndexParser::TakeEntryTag(std::string_view name, bool isEnd) {
    if (!rootStarted_) Malformed({malformation::kEntryBeforeRoot});
    if (rootEnded_) Malformed({malformation::kEntryAfterRoot});
    if (openProperty_) PropertyMalformed({malformation::kEntryInProperty, *openProperty_, ")"});
    if (isEnd) return TakeEntryEnd();
    // An entry without properties may close itself.
    const bool isBoth = name.ends_with('/');
    TakeEntryStart(name.substr(0, name.size() - (isBoth ? 1 : 0)), isBoth);
    if (isBoth) TakeEntryEnd();
}

void IndexParser::TakeEntryStart(std::string_view tag, bool closesItself) {
    if (insideEntry_) Malformed({malformation::kEntryInEntry});
    insideEntry_ = true;
    entryLive_ = entrySkipped_ = entryHasId_ = false;
    TakeAttributes(tag);
    if (entrySkipped_) {
        entryLive_ = false;
        return;
    }
    if (!entryHasId_) Malformed({malformation::kEntryWithoutId});
    // A tag without a first attribute has begun no draft.
    const bool isAsWritten = entryLive_ && tag.size() == draft_.StartTagLength();
    if (closesItself || !isAsWritten) foreignLayout_ = true;
}

void IndexParser::TakeEntryEnd() {
    if (!insideEntry_) Malformed({malformation::kEntryEndAlone});
    insideEntry_ = false;
    if (!entryLive_) return;
    entryLive_ = false;
    if (reader_.Offset() > kLargestOffset) return;
    const std::uint32_t idx = idx_++;
    if (!entryHasId_) return;
    const auto offset = static_cast<std::uint32_t>(entryOffset_);
    draft_.SetExtent(offset, static_cast<std::uint32_t>(reader_.Offset()) - offset);
    // IDX is the place in the file. Of two entries with one ID, the key, the second is dropped; it
    // still has its place.
    if (index_.Load(draft_, idx, seq_) != nullptr) ++seq_;
}

void IndexParser::TakePropertyTag(std::string_view name, bool isEnd) {
    if (!isEnd) {
        const auto misplaced = [&](std::string_view where) {
            Malformed({malformation::kPropertyTag, name, where});
        };
        if (!rootStarted_) misplaced(malformation::kBeforeRoot);
        if (rootEnded_) misplaced(malformation::kAfterRoot);
        if (!insideEntry_) misplaced(malformation::kOutsideEntry);
    }
    // A property out of place tells a torn file also to those who do not want its text.
    if (load_.mode == kLoadIdentifiers) return;
    if (isEnd) return TakePropertyEnd(name);
    // A property without text may close itself.
    const bool isBoth = name.ends_with('/');
    if (isBoth) name = TrimBlanks(name.substr(0, name.size() - 1));
    TakePropertyStart(name);
    if (!isBoth) return;
    StoreProperty(name, {});
    openProperty_.reset();
}

void IndexParser::TakePropertyStart(std::string_view name) {
    if (openProperty_) {
        PropertyMalformed(
            {malformation::kPropertyStart, name, malformation::kInProperty, *openProperty_, ")"});
    }
    openProperty_ = name;
}

void IndexParser::TakePropertyEnd(std::string_view name) {
    if (openProperty_ != name) {
        const std::string_view open = openProperty_ ? *openProperty_ : std::string_view();
        PropertyMalformed({malformation::kPropertyEnd, name, malformation::kNoMatch, open, ")"});
    }
    // A text belongs to the name that ends it, also when another began it: the load fails, but what
    // was read is handed out.
    if (reader_.TextTooLong()) PropertyMalformed({malformation::kTextTooLong, name, ")"});
    StoreProperty(name, reader_.Text());
    openProperty_.reset();
}

void IndexParser::StoreProperty(std::string_view name, std::string_view text) {
    // Names that begin as an entry or the root never come here.
    if (entryLive_ && !IsReservedName(name)) draft_.SetEscapedProperty(name, text);
}

// Whether properties are wanted here and would be no malformation.
bool IndexParser::MayTakeWrittenProperties() const {
    return entryLive_ && rootStarted_ && !rootEnded_ && !openProperty_ &&
           load_.mode != kLoadIdentifiers;
}

// What TakeTag makes of properties, the end of their entry and the entries behind it when they look
// as a save writes them. Whatever else comes is left to it.
void IndexParser::TakeWrittenEntries() {
    do {
        TakeWrittenProperties();
        if (!BeginsWith(reader_.Upcoming(), kEntryEnd)) return;
        reader_.Take(kEntryEnd.size());
        TakeEntryEnd();
    } while (TakeWrittenEntryStart());
}

void IndexParser::TakeWrittenProperties() {
    // A text is left to TakeText, since TakeMarks would pass it over.
    while (BeginsWith(reader_.Upcoming(), "<")) {
        const MarkedText upcoming = reader_.UpcomingMarked();
        const std::size_t taken = draft_.TakeWrittenProperties(upcoming);
        reader_.TakeMarks(taken);
        // The next one may lie across the end of what was at hand.
        if (taken == 0 || upcoming.end - upcoming.marks[taken] >= kTagLimit) return;
    }
}

// The next save writes the whole file, so that all of it must be read.
void IndexParser::DistrustExtents() {
    index_.InvalidateExtents();
    knownIds_ = nullptr;
    foreignLayout_ = true;
}

ParseResult IndexParser::Finish(const std::string& folder) {
    index_.FinishLoad();
    if (!currentFormat_) index_.NumberSequence();
    // An entry that was left open must not survive in a gap.
    if (rootEnded_ && (insideEntry_ || openProperty_ || !CanFindRootEnd())) foreignLayout_ = true;
    if (MustRewrite()) {
        index_.InvalidateExtents();
        if (!ReadsWhole()) return ReadAgain();
    }
    if (knownIds_ != nullptr) index_.MarkLimited();
    if (!rootStarted_) {
        Malformed({malformation::kNoRootStart});
    } else if (!rootEnded_) {
        Malformed({malformation::kNoRootEnd});
    }
    if (load_.identifiersSuffice && OnlyPropertiesDamaged()) return ReadAgain();
    if (!wellFormed_) return ReportMalformation(folder);
    // What was left out for want of its file left a hole. Among known IDs no file was asked for.
    if (ReadsWhole() && load_.fileExists) index_.InvalidateExtents();
    return ParseResult::Parsed;
}

ParseResult IndexParser::ReadAgain() {
    index_.Clear();
    return ParseResult::ParseAgain;
}

ParseResult IndexParser::ReportMalformation(const std::string& folder) const {
    // Unlike other reports this one ends its line; kept for compatibility.
    const std::string message =
        "Malformed index detected: " + malformation_ + " (" + folder + ")\n";
    Trace(message);
    Report(ReportChannel::EventLogError, message);
    return ParseResult::Malformed;
}

void IndexParser::Malformed(Texts texts) {
    PropertyMalformed(texts);
    identifiersDamaged_ = true;
}

// The later ones would only say again that the file is damaged.
void IndexParser::PropertyMalformed(Texts texts) {
    if (wellFormed_) {
        for (const std::string_view text : texts) malformation_ += text;
    }
    wellFormed_ = false;
}

}  // namespace tarnwick
