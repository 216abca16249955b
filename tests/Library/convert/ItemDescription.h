// Properties as text, so that tests compare whole items at a glance.
#pragma once

#include <string>
#include <variant>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemProperties.h"

namespace tarnwick::testing {

// A line for each property: its name without prefix, "=", and its value; file times as date texts.
inline std::string Describe(const ItemPropertyContainer& item) {
    struct {
        std::string operator()(const std::string& text) const { return "'" + text + "'"; }
        std::string operator()(std::int32_t number) const { return std::to_string(number); }
        std::string operator()(double number) const { return std::to_string(number); }
        std::string operator()(std::uint64_t time) const { return DateText(time); }
    } toText;
    std::string description;
    for (const auto& property : item) {
        std::string_view name = property.name;
        for (const std::string_view prefix : {"PR_BNP_", "TW_ITEM_", "PR_"}) {
            if (!name.starts_with(prefix)) continue;
            name.remove_prefix(prefix.size());
            break;
        }
        description += std::string(name) + "=" + std::visit(toText, property.value) + "\n";
    }
    return description;
}

}  // namespace tarnwick::testing
