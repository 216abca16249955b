// The IDs that events get as entries, and the names of the item files that belong to them.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

// A number made of the whole of a text: 64-bit FNV-1a, in sixteen hexadecimal digits.
std::string Fingerprint(std::string_view text);

// A name made of plain bytes alone, told from those of other names by a fingerprint.
std::string ReplacedName(std::string_view name);

// The ID of the second, third, ... entry of an event in one calendar: "#2" stands behind it.
std::string NumberedId(const std::string& id, std::size_t number);
// The ID without that number; no value when it has none.
std::optional<std::string_view> WithoutNumber(std::string_view id);

// The names that the item of an entry with this ID can have: first the one that import gives, then
// those that earlier versions gave, then that of the ID without its number.
std::vector<std::string> EventItemNames(std::string_view id);

// The IDs that a file has used.
class UniqueIds {
  public:
    // The ID; a replaced name when it was used before, in whatever case of letters.
    std::string MakeUnique(const std::string& id);

  private:
    std::set<std::string> used_;
};

}  // namespace tarnwick::admin
