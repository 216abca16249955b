// The export and import tables of a 64-bit Windows module, read from its file.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/Text.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

class PortableExecutable {
  public:
    explicit PortableExecutable(const std::string& path) : bytes_(ReadBytesOf(path)) {
        const auto dos = At<IMAGE_DOS_HEADER>(0);
        headers_ = At<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(dos.e_lfanew));
        const std::size_t sections = static_cast<std::size_t>(dos.e_lfanew) +
                                     offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
                                     headers_.FileHeader.SizeOfOptionalHeader;
        for (std::size_t number = 0; number < headers_.FileHeader.NumberOfSections; ++number) {
            sections_.push_back(
                At<IMAGE_SECTION_HEADER>(sections + number * sizeof(IMAGE_SECTION_HEADER)));
        }
    }

    // Every function with or without a name.
    std::uint32_t ExportedFunctions() const { return ExportTable().NumberOfFunctions; }

    std::vector<std::string> ExportedNames() const {
        const IMAGE_EXPORT_DIRECTORY table = ExportTable();
        std::vector<std::string> names;
        for (std::uint32_t number = 0; number < table.NumberOfNames; ++number) {
            const auto name = At<std::uint32_t>(Offset(table.AddressOfNames) + 4 * number);
            names.push_back(TextAt(name));
        }
        return names;
    }

    // In lower case.
    std::vector<std::string> ImportedModules() const {
        std::vector<std::string> names;
        std::size_t at = Offset(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT));
        for (;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
            const auto descriptor = At<IMAGE_IMPORT_DESCRIPTOR>(at);
            if (descriptor.Name == 0) return names;
            std::string name = TextAt(descriptor.Name);
            std::transform(name.begin(), name.end(), name.begin(), LowerAscii);
            names.push_back(name);
        }
    }

  private:
    template <typename Record>
    Record At(std::size_t offset) const {
        Record record{};
        if (offset <= bytes_.size() && sizeof record <= bytes_.size() - offset) {
            std::memcpy(&record, bytes_.data() + offset, sizeof record);
        }
        return record;
    }
    std::uint32_t Directory(std::size_t entry) const {
        return headers_.OptionalHeader.DataDirectory[entry].VirtualAddress;
    }
    IMAGE_EXPORT_DIRECTORY ExportTable() const {
        return At<IMAGE_EXPORT_DIRECTORY>(Offset(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT)));
    }
    // Where in the file an address of the loaded module comes from.
    std::size_t Offset(std::uint32_t address) const {
        for (const IMAGE_SECTION_HEADER& section : sections_) {
            if (address >= section.VirtualAddress &&
                address - section.VirtualAddress < section.SizeOfRawData) {
                return section.PointerToRawData + (address - section.VirtualAddress);
            }
        }
        return bytes_.size();
    }
    std::string TextAt(std::uint32_t address) const {
        return std::string(UpToNul(std::string_view(bytes_).substr(Offset(address))));
    }

    std::string bytes_;
    IMAGE_NT_HEADERS64 headers_{};
    std::vector<IMAGE_SECTION_HEADER> sections_;
};

}  // namespace tarnwick::testing
