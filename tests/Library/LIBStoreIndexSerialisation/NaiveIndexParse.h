// The index file's rules written down one by one, without regard to time: what a parse takes from
// any bytes, and what it reports.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"

namespace tarnwick::testing {

// <ELEMENT ID="id" UID="uid">properties</ELEMENT>
inline std::string Element(std::string_view id, std::string_view uid,
                           std::string_view properties = "<FROM>a</FROM><SUBJECT>b</SUBJECT>") {
    return "<ELEMENT ID=\"" + std::string(id) + "\" UID=\"" + std::string(uid) + "\">" +
           std::string(properties) + "</ELEMENT>";
}

inline std::string Index(std::uint32_t lastUid, std::string_view entries) {
    char header[40];
    std::snprintf(header, sizeof header, "<BASEELEMENT LASTUID=\"x%08lx\">",
                  static_cast<unsigned long>(lastUid));
    return header + std::string(entries) + "</BASEELEMENT>\r\n";
}

template <typename... Parts>
std::string Joined(const Parts&... parts) {
    std::ostringstream text;
    ((text << parts << ' '), ...);
    return text.str() + "\n";
}

inline void ReplaceEach(std::string& text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// Digits up to the first other character: held at 32 bits, and the lowest eight bits.
struct NaiveNumber {
    NaiveNumber(std::string_view text, unsigned base) {
        for (const char character : text) {
            const int lower = std::tolower(static_cast<unsigned char>(character));
            const auto digit = std::string_view("0123456789abcdef").find(static_cast<char>(lower));
            if (digit >= base) break;
            held = std::min<std::uint64_t>(held * base + digit, 0xFFFFFFFF);
            low = static_cast<unsigned char>(low * base + digit);
        }
    }
    std::uint64_t held = 0;
    unsigned char low = 0;
};

// The last two are escaped for attribute use alone, the ampersand besides.
inline constexpr std::pair<const char*, const char*> kNaiveEntities[] = {
    {"<", "&lt;"}, {">", "&gt;"}, {"\"", "&quot;"}, {"'", "&apos;"}};

inline std::string NaiveEscaped(std::string text, bool forAttributeUse = false) {
    ReplaceEach(text, "&", "&amp;");
    for (const auto& [plain, entity] : std::span(kNaiveEntities, forAttributeUse ? 4 : 2)) {
        ReplaceEach(text, plain, entity);
    }
    std::string escaped;
    for (const char byte : text) {
        char reference[8];
        std::snprintf(reference, sizeof reference, "&#x%x;", static_cast<unsigned char>(byte));
        const bool stays = static_cast<signed char>(byte) >= ' ' || byte == '\t' || byte == '\n';
        escaped += stays || byte == '\r' ? std::string(1, byte) : reference;
    }
    return escaped;
}

inline std::string NaiveUnescaped(std::string text, bool forAttributeUse = false) {
    for (auto at = text.find("&#"); at != text.npos; at = text.find("&#")) {
        const auto end = text.find(';', at);
        if (end == text.npos) break;
        const unsigned base = text[at + 2] == 'x' ? 16 : 10;
        const NaiveNumber number(text.substr(at + (base == 16 ? 3 : 2), end - at - 2), base);
        text.replace(at, end - at + 1, 1, static_cast<char>(number.low));
    }
    for (const auto& [plain, entity] : std::span(kNaiveEntities, forAttributeUse ? 4 : 2)) {
        ReplaceEach(text, entity, plain);
    }
    ReplaceEach(text, "&amp;", "&");
    return text;
}

inline std::string NaiveTrimmed(const std::string& text) {
    const auto start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    return text.substr(start, text.find_last_not_of(" \t\r\n") + 1 - start);
}

// Takes the last UID out of the root's tag; whether that is of the current format.
inline bool TakeNaiveLastUid(const std::string& tag, std::uint32_t& lastUid) {
    const auto start = tag.find("LASTUID=\"");
    if (start == tag.npos) return false;
    std::string value = tag.substr(start + 9, 1024);
    value = value.substr(0, value.find('"'));
    const bool current = value.starts_with('x');
    const unsigned base = current || value.starts_with('0') ? 16 : 10;
    if (current) value = value.substr(1);
    if (base == 16 && value.starts_with("0x")) value = value.substr(2);
    lastUid = static_cast<std::uint32_t>(NaiveNumber(value, base).held);
    return current;
}

struct NaiveEntry {
    // The start tag up to the last quote.
    std::string Start(bool blanked = false) const {
        const auto shown = [&](const std::string& text) {
            return blanked ? std::string(text.size(), '-') : text;
        };
        return "<ELEMENT ID=\"" + shown(id) +
               (uid ? "\" UID=\"" + shown(std::to_string(*uid)) : "");
    }
    std::string Written() const {
        std::string text = Start() + "\">";
        for (const auto& [name, value] : properties) {
            text += "<" + name + ">" + NaiveEscaped(value) + "</" + name + ">";
        }
        return text + "</ELEMENT>";
    }

    std::uint32_t Uid() const { return uid.value_or(0); }

    std::string id;
    std::optional<std::uint32_t> uid;
    std::uint32_t idx = 0, seq = 0;
    std::size_t offset = 0, length = 0;  // in the file; 0: not there
    std::map<std::string, std::string> properties;
    bool removed = false, changed = false;
};

// What is held of an index, its file and what was reported.
struct NaiveContent {
    std::vector<NaiveEntry*> InUidOrder() {
        std::vector<NaiveEntry*> order;
        for (NaiveEntry& entry : entries) {
            if (!entry.removed) order.push_back(&entry);
        }
        std::sort(order.begin(), order.end(), [](const auto* left, const auto* right) {
            return std::pair(left->Uid(), left->idx) < std::pair(right->Uid(), right->idx);
        });
        return order;
    }
    NaiveEntry* Find(const std::string& id) {
        const auto at = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) {
            return entry.id == id && !entry.removed;
        });
        return at == entries.end() ? nullptr : &*at;
    }
    bool IsWhole() const { return status == kLoadFull && !limited && filter.empty(); }
    void InvalidateExtents() { filter.clear(), trusted = false; }
    void Report(const std::string& text) { trace += text, eventLog += text; }
    std::string State() {
        std::string state = Joined(status, lastUid, filter, trusted, damaged, modified, IsWhole());
        for (const NaiveEntry* entry : InUidOrder()) {
            state += Joined(entry->idx, entry->seq, entry->offset, entry->length, entry->Written());
        }
        return state + Joined(trace, "|", eventLog, "|", file.value_or("no file"));
    }

    std::optional<std::string> file;  // nothing: there is none
    bool changedByAnother = false;
    std::string filter, trace, eventLog;
    std::uint32_t status = kLoadFailed, lastUid = 0;
    bool trusted = true, limited = false, damaged = false, modified = false;
    std::vector<NaiveEntry> entries;  // in order of position; the removed ones too
};

// One parse; `load` says what it is to read.
class NaiveParse {
  public:
    NaiveParse(NaiveContent& index, const IndexLoad& load)
        : index_(index), load_(load), known_(load.knownIds), bytes_(index.file.value_or("")) {}

    // Whether the file was sound; nothing when it is to be parsed again.
    std::optional<bool> Run() {
        bool join = false;
        while ((tagStart_ = bytes_.find('<', at_)) != bytes_.npos) {
            text_ = (join ? text_ : "") + bytes_.substr(at_, tagStart_ - at_);
            at_ = tagStart_ + 1;
            join = property_.has_value();
            if (bytes_.compare(at_, 3, "!--") == 0) {
                const auto end = bytes_.find("-->", at_ + 3);
                at_ = end == bytes_.npos ? bytes_.size() : end + 3;
                continue;
            }
            const auto close = std::min(bytes_.find('>', at_), bytes_.size());
            const bool isCut = close - at_ > 1024;
            if (!isCut && close == bytes_.size()) break;
            const std::string tag = bytes_.substr(at_, isCut ? 1024 : close - at_);
            at_ += tag.size() + (isCut ? 0 : 1);
            if (tag.starts_with('?') || tag.starts_with('!')) continue;
            join = false;
            TakeTag(tag);
            if (MustRewrite() && !ReadsWhole()) break;
        }
        return Finish();
    }

  private:
    bool ReadsWhole() const {
        return known_ == nullptr && (load_.mode == kLoadFull || load_.identifiersSuffice);
    }
    std::string Open() const { return property_.value_or(""); }
    bool MustRewrite() const { return foreign_ || blanked_ >= load_.garbageThreshold; }

    void Expect(bool isSound, const std::string& text, bool ofProperty = false) {
        if (isSound) return;
        if (malformation_.empty()) malformation_ = text;
        identifiersDamaged_ = identifiersDamaged_ || !ofProperty;
    }
    void ExpectInRoot(const std::string& tag) {
        Expect(started_, tag + " before encountering a root element start tag");
        Expect(!ended_, tag + " after already encountering a root element end tag");
    }

    void TakeTag(const std::string& tag) {
        const bool isEnd = tag.starts_with('/');
        const std::string name = tag.substr(isEnd ? 1 : 0);
        if (name.starts_with("BASEELEMENT")) {
            TakeRoot(name, isEnd);
        } else if (!name.starts_with("ELEMENT")) {
            TakeProperty(name, isEnd);
        } else {
            ExpectInRoot("Encountered element tag");
            const std::string within = " start tag nested within a property (" + Open() + ")";
            Expect(!property_, "Encountered element" + within, true);
            const bool isBoth = !isEnd && name.ends_with('/');
            if (!isEnd) TakeEntryStart(name.substr(0, name.size() - isBoth), isBoth);
            if (isEnd || isBoth) TakeEntryEnd();
        }
    }

    void TakeRoot(const std::string& tag, bool isEnd) {
        const std::string kind = isEnd ? "root element end tag" : "root element start tag";
        const bool isFirst = isEnd ? !ended_ : !started_;
        Expect(!isEnd || started_, "Encountered " + kind + " before root element start tag");
        Expect(isFirst, "Encountered " + kind + " after already encountering a " + kind);
        if (isEnd) {
            ended_ = true;
            endFits_ = tag == "BASEELEMENT" && bytes_.size() - tagStart_ <= 31;
            return;
        }
        started_ = true;
        current_ = TakeNaiveLastUid(tag, index_.lastUid);
        ended_ = ended_ || tag.find('/') != tag.npos;
        if (current_ && tagStart_ == 0 && tag.size() == 31) return;
        index_.InvalidateExtents();
        known_ = nullptr;
        foreign_ = true;
    }

    void TakeEntryStart(const std::string& tag, bool closesItself) {
        Expect(!inEntry_, "Encountered element start tag nested within another element");
        inEntry_ = true;
        live_ = hasId_ = false;
        entry_ = {};
        entry_.offset = tagStart_;
        const bool isWanted = TakeAttributes(tag);
        live_ = live_ && isWanted;
        Expect(!isWanted || hasId_, "Encountered element start tag without an ID");
        const bool isLong = closesItself || !live_ || tag.size() != entry_.Start().size();
        foreign_ = foreign_ || (isWanted && isLong);
    }

    // Whether the entry is wanted.
    bool TakeAttributes(const std::string& tag) {
        std::string rest = tag.substr(std::min(tag.find_first_of(" \t\r\n"), tag.size()));
        while (!NaiveTrimmed(rest).empty()) {
            const auto equals = std::min(rest.find('='), rest.size() - 1);
            const auto open = rest.find_first_not_of(" \t\r\n", equals + 1);
            const auto close = open == rest.npos ? open : rest.find('"', open + 1);
            const bool isSound = close != rest.npos && rest[open] == '"' && rest[equals] == '=';
            Expect(isSound, "Unable to parse ID attribute, Tag=[" + tag + "]");
            if (!isSound) return true;
            const std::string name = NaiveTrimmed(rest.substr(0, equals));
            const std::string value = rest.substr(open + 1, close - open - 1);
            rest = rest.substr(close + 1);
            const bool isId = name == "ID" || name == "Id" || name == "iD" || name == "id";
            if (name == "UID") CheckOrder(value);
            if (!value.empty() && value == std::string(value.size(), '-')) return ++blanked_ == 0;
            if (isId && known_ != nullptr && !known_->contains(value)) return false;
            const bool isAsked = isId && known_ == nullptr && load_.fileExists;
            if (isAsked && !load_.fileExists(value)) return false;
            live_ = true;
            hasId_ = hasId_ || isId;
            if (isId) entry_.id = value;
            if (name == "UID") entry_.uid = UidOf(value);
            if (!isId && IsStorablePropertyName(name)) entry_.properties[name] = value;
        }
        return true;
    }
    static std::uint32_t UidOf(const std::string& value) {
        return static_cast<std::uint32_t>(NaiveNumber(NaiveTrimmed(value), 10).held);
    }
    void CheckOrder(const std::string& value) {
        if (!current_) return;
        const std::string previous = std::to_string(std::exchange(previousUid_, UidOf(value)));
        Expect(previousUid_ >= std::stoll(previous),
               "Encountered element with UID out of order. This UID=" +
                   std::to_string(previousUid_) + ", Previous UID=" + previous +
                   ", Largest/Last UID=" + std::to_string(index_.lastUid));
    }

    void TakeEntryEnd() {
        Expect(inEntry_,
               "Encountered element end tag before encountering a matching element start tag");
        inEntry_ = false;
        if (!std::exchange(live_, false)) return;
        entry_.idx = ++idx_;
        if (!hasId_ || index_.Find(entry_.id) != nullptr) return;
        entry_.length = at_ - entry_.offset;
        entry_.seq = ++seq_;
        index_.entries.push_back(entry_);
    }

    void TakeProperty(std::string name, bool isEnd) {
        const std::string start = "Encountered property tag (" + name + ")";
        if (!isEnd) ExpectInRoot(start);
        Expect(isEnd || inEntry_, start + " outside an element");
        if (load_.mode == kLoadIdentifiers) return;
        const bool isBoth = !isEnd && name.ends_with('/');
        if (isBoth) name = NaiveTrimmed(name.substr(0, name.size() - 1));
        Expect(isEnd || !property_,
               "Encountered property start tag (" + name + ") nested within another property (" +
                   Open() + ")",
               true);
        Expect(!isEnd || property_ == name,
               "Encountered property end tag (" + name +
                   ") that does not match previous property start tag (" + Open() + ")",
               true);
        property_ = name;
        if (!isEnd && !isBoth) return;
        property_.reset();
        const std::string value = isBoth ? "" : NaiveUnescaped(text_);
        if (live_ && !IsReservedName(name)) entry_.properties[name] = value;
    }

    std::optional<bool> Finish() {
        std::uint32_t seq = 0;
        for (NaiveEntry* entry : index_.InUidOrder()) {
            if (!current_) entry->seq = ++seq;
        }
        if (ended_ && (inEntry_ || property_ || !endFits_)) foreign_ = true;
        if (MustRewrite()) index_.InvalidateExtents();
        if (MustRewrite() && !ReadsWhole()) return std::nullopt;
        index_.limited = known_ != nullptr;
        Expect(started_, "Did not find root element start tag");
        Expect(ended_, "Did not find root element end tag");
        const bool sound = malformation_.empty();
        const bool identifiersSound = !identifiersDamaged_ && blanked_ < load_.garbageThreshold;
        if (!sound && load_.identifiersSuffice && identifiersSound) return std::nullopt;
        if (!sound) index_.Report("Malformed index detected: " + malformation_ + " (F)\n");
        if (sound && ReadsWhole() && load_.fileExists) index_.InvalidateExtents();
        return sound;
    }

    NaiveContent& index_;
    const IndexLoad& load_;
    const IdSet* known_;
    const std::string bytes_;
    std::size_t at_ = 0, tagStart_ = 0;
    std::string text_, malformation_;
    bool started_ = false, ended_ = false, endFits_ = false, current_ = false;
    bool inEntry_ = false, live_ = false, hasId_ = false, foreign_ = false;
    std::optional<std::string> property_;
    NaiveEntry entry_;
    std::int64_t previousUid_ = -1;
    std::uint32_t blanked_ = 0, idx_ = 0, seq_ = 0;
    bool identifiersDamaged_ = false;
};

}  // namespace tarnwick::testing
