#include "tools/admin/WireDump.h"

#include <algorithm>

#include "common/Scan.h"
#include "common/Text.h"
#include "remote/Envelope.h"
#include "remote/Lzw.h"
#include "remote/shared/Base64.h"
#include "tools/admin/RecordFields.h"

namespace tarnwick::admin {
namespace {

constexpr const char* kParameterEnd = "</PARAMETER";
constexpr std::size_t kLongestValue = kRemoteTextSize - 1;
constexpr unsigned kLostString = 0xFFFF;
constexpr std::size_t kAddedLimit = kLzwEntryLimit - kLzwSingleBytes;

std::string CountedBytes(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// The codes of a stream with what each expands to, kept by the plain rules: an entry is a stretch
// of the output.
class CodeWalk {
  public:
    struct Step {
        unsigned code;
        std::size_t at;     // in the output
        std::size_t count;  // 0: the code is none that could stand there
        const char* fault;
    };

    explicit CodeWalk(std::string_view codes) : codes_(codes) {}

    bool IsAtEnd() const { return codes_.size() / 2 == index_ || isStopped_; }
    std::size_t Position() const { return 2 * index_; }
    const std::string& Output() const { return output_; }

    // Expands the next code; behind one that is faulty there is none.
    Step Next() {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(codes_[at]); };
        const unsigned code = byte(Position()) | static_cast<unsigned>(byte(Position() + 1)) << 8;
        if (index_ <= kAddedLimit) starts_.push_back(output_.size());
        const std::size_t at = output_.size();
        const char* const fault = Expand(code);
        isStopped_ = fault != nullptr;
        ++index_;
        return {code, at, output_.size() - at, fault};
    }

  private:
    const char* Expand(unsigned code) {
        if (code < kLzwSingleBytes) {
            output_ += static_cast<char>(code);
            return nullptr;
        }
        if (code == kLostString) return "a string that its compressor lost";
        const std::size_t entry = code - kLzwSingleBytes;
        if (entry >= std::min(index_, kAddedLimit)) return "no entry of that number is there yet";
        const std::size_t start = starts_[entry];
        const std::size_t length = starts_[entry + 1] - start + 1;
        if (length > kLzwLongestString) return "the entry is longer than any code stands for";
        for (std::size_t at = 0; at < length; ++at) output_ += output_[start + at];
        return nullptr;
    }

    std::string_view codes_;
    std::size_t index_ = 0;
    bool isStopped_ = false;
    std::vector<std::size_t> starts_;
    std::string output_;
};

// The value of a parameter: what is to be said of its text, and its bytes where they can be known.
struct Value {
    std::string meaning;
    std::string bytes = {};
};

Value ValueOf(std::string_view text) {
    if (text.empty()) return {"empty"};
    if (text.size() > kLongestValue) return {"damaged: longer than a value may be"};
    const auto codes = Base64DecodeAlloc(text);
    if (!codes) return {"damaged: no base64"};
    CodeWalk walk({reinterpret_cast<const char*>(codes->data()), codes->size()});
    while (!walk.IsAtEnd()) {
        const auto step = walk.Next();
        if (step.fault == nullptr) continue;
        return {"damaged: code " + std::to_string(step.code) + " at " +
                    std::to_string(walk.Position() - 2) + ": " + step.fault,
                walk.Output()};
    }
    return {std::to_string(codes->size() / 2) + " codes for " + CountedBytes(walk.Output().size()),
            walk.Output()};
}

class EnvelopeWalk {
  public:
    explicit EnvelopeWalk(std::string_view bytes)
        : bytes_(bytes), text_(UpToNul(bytes)), lastEnd_(text_.rfind(kParameterEnd)) {}

    std::vector<DumpRow> Run() {
        while (at_ < text_.size()) {
            if (text_[at_] != '<') {
                TakeText();
            } else if (const std::string number = NumberOfParameter(); !number.empty()) {
                TakeParameter(number);
            } else {
                TakeTag();
            }
        }
        Add(bytes_.size(), "behind the NUL that ends the text");
        return std::move(rows_);
    }

  private:
    void Add(std::size_t end, std::string meaning) {
        if (end == at_) return;
        rows_.push_back({at_, end - at_, std::move(meaning)});
        at_ = end;
    }

    std::size_t EndAt(char byte) const {
        return std::min(FindByte(text_, byte, at_), text_.size());
    }

    void TakeText() {
        const std::size_t end = EndAt('<');
        const std::string_view text = text_.substr(at_, end - at_);
        Add(end, element_.empty() ? "text" : element_ + ": " + QuotedBriefly(text));
    }

    // Up to its ">"; one that does not come is told.
    bool TakeTagAs(const std::string& meaning) {
        const std::size_t end = EndAt('>');
        const bool isWhole = end < text_.size();
        Add(isWhole ? end + 1 : end, isWhole ? meaning : "damaged: a tag without its end");
        return isWhole;
    }

    void TakeTag() {
        const std::string_view tag = text_.substr(at_ + 1, EndAt('>') - at_ - 1);
        const bool isEnd = tag.starts_with('/');
        element_ = isEnd ? "" : std::string(tag.substr(0, 60));
        TakeTagAs(isEnd ? "end of " + std::string(tag.substr(1, 60)) : element_);
    }

    // Empty where no start tag of a parameter begins.
    std::string NumberOfParameter() const {
        constexpr std::string_view kTag = "<PARAMETER";
        if (!text_.substr(at_).starts_with(kTag)) return {};
        std::string_view digits = text_.substr(at_ + kTag.size());
        digits = digits.substr(0, std::min(digits.find_first_not_of("0123456789"), digits.size()));
        return std::string(digits.substr(0, 10));
    }

    void TakeParameter(const std::string& number) {
        const std::string name = "parameter " + number;
        const std::string_view tag = text_.substr(at_, EndAt('>') - at_);
        const std::size_t size = FindText(tag, "SIZE=");
        const bool hasSize = size != kNotFound;
        const bool mayEnd = lastEnd_ != text_.npos && lastEnd_ > at_;
        const std::size_t end =
            mayEnd ? FindText(text_, std::string(kParameterEnd) + number + ">", EndAt('>'))
                   : kNotFound;
        const bool hasEnd = end != kNotFound;
        const std::string missing = !hasSize ? "SIZE=" : !hasEnd ? "its end" : "";
        if (!TakeTagAs(missing.empty()
                           ? name + ", " + std::string(tag.substr(size, 20))
                           : "damaged: " + name + " without " + missing + ", nobody reads it")) {
            return;
        }
        if (!hasEnd) {
            element_ = name;
            return;
        }
        const Value value = ValueOf(text_.substr(at_, end - at_));
        Add(end, "value of " + name + ", " + value.meaning);
        const std::vector<DumpRow> fields =
            FieldRows(name + (number == "0" ? ", the result: " : ": "), value.bytes);
        rows_.insert(rows_.end(), fields.begin(), fields.end());
        TakeTagAs("end of " + name);
    }

    std::string_view bytes_;
    std::string_view text_;
    std::size_t lastEnd_;  // of any parameter
    std::size_t at_ = 0;
    std::string element_;
    std::vector<DumpRow> rows_;
};

}  // namespace

std::vector<DumpRow> DumpEnvelope(std::string_view bytes) {
    return EnvelopeWalk(bytes).Run();
}

std::vector<DumpRow> DumpLzw(std::string_view bytes) {
    std::vector<DumpRow> rows;
    CodeWalk walk(bytes);
    while (!walk.IsAtEnd()) {
        const auto [code, at, count, fault] = walk.Next();
        const std::string name = "code " + std::to_string(code) + ": ";
        rows.push_back(
            {walk.Position() - 2, 2,
             fault != nullptr
                 ? "damaged: " + name + fault
                 : name + CountedBytes(count) + " at " + std::to_string(at) + ", " +
                       QuotedBriefly(std::string_view(walk.Output()).substr(at, count))});
    }
    if (walk.Position() < bytes.size()) {
        const bool isOdd = bytes.size() - walk.Position() == 1;
        rows.push_back(
            {walk.Position(), bytes.size() - walk.Position(),
             isOdd ? "half a code, which is ignored" : "behind the fault: not expanded"});
    }
    const std::vector<DumpRow> fields = FieldRows("expanded: ", walk.Output());
    rows.insert(rows.end(), fields.begin(), fields.end());
    return rows;
}

}  // namespace tarnwick::admin
