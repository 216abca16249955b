// The values that the codecs are measured on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace tarnwick::bench {

struct CodecSample {
    std::string name;
    std::vector<std::byte> value;
};

inline void PutField(std::vector<std::byte>& record, std::size_t offset, const std::string& text) {
    std::memcpy(record.data() + offset, text.data(), text.size());
}

inline void PutNumber(std::vector<std::byte>& record, std::size_t offset, std::int32_t number) {
    std::memcpy(record.data() + offset, &number, sizeof number);
}

// An appointment as callers fill it in: short texts in fields padded with zeros.
inline std::vector<std::byte> AppointmentSample() {
    std::vector<std::byte> record(648);
    PutField(record, 0, "katharina.lindqvist");
    PutField(record, 256, "harbour-office.example");
    PutNumber(record, 512, 1795248000);
    PutNumber(record, 516, 1795251600);
    PutField(record, 520, "5F0B7C2A-91D4-4E3B-8A66-0C1D2E3F4A5B");
    PutField(record, 584, "Y26M11D21");
    return record;
}

// A pseudo-random sequence, the same in every run.
class Sequence {
  public:
    std::uint32_t Next() {
        state_ = state_ * 1664525 + 1013904223;
        return state_ >> 8;
    }

  private:
    std::uint32_t state_ = 20261121;
};

inline std::string ItemText(std::size_t length) {
    static const char* const kWords[] = {
        "the ",      "quarterly ", "report ", "for ",     "our ",   "customers ", "is ",
        "due ",      "on ",        "Friday ", "please ",  "bring ", "figures ",   "and ",
        "proposals", "; ",         "room ",   "meeting ", "moved ", "to ",        "Thursday, "};
    Sequence sequence;
    std::string text = "BEGIN:VCALENDAR\r\nVERSION:1.0\r\nBEGIN:VEVENT\r\n";
    while (text.size() < length) {
        text += kWords[sequence.Next() % std::size(kWords)];
        if (sequence.Next() % 9 == 0) {
            text += "\r\nDTSTART:20261121T" + std::to_string(sequence.Next() % 240000) + "Z\r\n";
        }
    }
    return text.substr(0, length);
}

// An item record that holds `textLength` bytes of text, at most 8192. The files of single
// appointments are mostly between 800 and 1450 bytes long.
inline std::vector<std::byte> ItemSample(std::size_t textLength) {
    std::vector<std::byte> record(8772);
    PutField(record, 0, "katharina.lindqvist");
    PutField(record, 256, "harbour-office.example");
    PutField(record, 512, "5F0B7C2A-91D4.VCS");
    PutField(record, 576, ItemText(textLength));
    PutNumber(record, 8768, static_cast<std::int32_t>(textLength));
    return record;
}

inline std::vector<std::byte> NoiseSample(std::size_t size) {
    Sequence sequence;
    std::vector<std::byte> value(size);
    for (std::byte& byte : value) byte = static_cast<std::byte>(sequence.Next() >> 8);
    return value;
}

inline std::vector<CodecSample> CodecSamples() {
    return {{"648 bytes, record", AppointmentSample()},
            {"8772 bytes, record", ItemSample(1200)},
            {"648 bytes, noise", NoiseSample(648)},
            {"8772 bytes, noise", NoiseSample(8772)}};
}

// A chunk in the middle of a long item: hardly any zeros. Shown without a goal.
inline CodecSample FullChunkSample() {
    return {"8772 bytes, full", ItemSample(8192)};
}

}  // namespace tarnwick::bench
