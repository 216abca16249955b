// Index entries as folders hold them: about 8 of 14 properties each, chosen by what a message has.
#pragma once

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick::bench {

// The same entries for the same seed on every machine.
class MixedIndex {
  public:
    explicit MixedIndex(unsigned seed) : random_(seed) {}

    // Adds entries with random IDs to an index that counts as wholly loaded then.
    void Fill(StoreIndex& index, int entries) {
        for (int at = 0; at < entries; ++at) {
            char id[16];
            std::snprintf(id, sizeof id, "%08X.MAI", static_cast<unsigned>(random_()));
            if (StoreIndex::Entry* const entry = index.Add(id)) SetProperties(index, *entry);
        }
        index.SetLoadStatus(kLoadFull);
    }

    // Removes one entry in 256: gaps, once the index is saved in place.
    static void LeaveGaps(StoreIndex& index) {
        for (StoreIndex::Entry& entry : index.InUidOrder()) {
            if (entry.Uid() % 256 == 255) index.Remove(entry);
        }
    }

  private:
    enum class Kind { Address, Addresses, Date, Digit, Number, Words };
    struct Property {
        const char* name;
        unsigned percent;  // of the messages that have it
        Kind kind;
    };

    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    void SetProperties(StoreIndex& index, StoreIndex::Entry& entry) {
        static constexpr Property kProperties[] = {
            {"ATTACHMENTS", 20, Kind::Digit}, {"CC", 25, Kind::Addresses},
            {"CLASS", 15, Kind::Words},       {"FLAGSTATUS", 15, Kind::Digit},
            {"FROM", 97, Kind::Address},      {"IMPORTANCE", 25, Kind::Digit},
            {"MESSAGEDATE", 98, Kind::Date},  {"MODIFIEDDATE", 35, Kind::Date},
            {"READ", 70, Kind::Digit},        {"RECEIVED", 90, Kind::Date},
            {"SIZE", 100, Kind::Number},      {"STATE", 30, Kind::Number},
            {"SUBJECT", 95, Kind::Words},     {"TO", 92, Kind::Addresses},
        };
        for (const Property& property : kProperties) {
            if (Below(100) >= property.percent) continue;
            std::string value = Value(property.kind);
            // One in five is escaped: by name, or byte for byte.
            const unsigned escaped = Below(10);
            if (escaped < 2)
                value += escaped == 0 ? " <R&D>"
                                      : " caf\xE9 \xFC"
                                        "ber";
            index.SetProperty(entry, property.name, value);
        }
    }

    std::string Value(Kind kind) {
        switch (kind) {
            case Kind::Address:
                return Word() + " " + Word() + " [SMTP:" + Word() + "@example.org]";
            case Kind::Addresses: {
                std::string all = Value(Kind::Address);
                while (Below(4) == 0) all += "; " + Value(Kind::Address);
                return all;
            }
            case Kind::Date:
                return "2021/03/14 15:09:" + std::to_string(10 + Below(50));
            case Kind::Digit:
                return std::to_string(Below(10));
            case Kind::Number:
                return std::to_string(Below(1U << Below(24)));
            case Kind::Words: {
                std::string all = Word();
                for (unsigned count = Below(12); count != 0; --count) all += " " + Word();
                return all;
            }
        }
        return {};
    }

    std::string Word() {
        std::string word;
        for (unsigned length = 2 + Below(9); length != 0; --length) {
            word += static_cast<char>('a' + Below(26));
        }
        return word;
    }

    std::mt19937 random_;
};

}  // namespace tarnwick::bench
