// Every registry value that the product reads, in one table; docs/settings.md shows the same.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/Registry.h"

namespace tarnwick::admin {

enum class ValueType {
    Text,
    Number,
    Switch,       // a number: on unless it is 0
    ExactSwitch,  // a number: on when it is 1, and off for all others
};

struct RegistrySetting {
    RegistryRoot root;
    const char* key;
    const char* name;
    ValueType type;
    std::uint32_t missingNumber;  // of numbers: what counts when there is no value
    const char* missingText;      // of texts: the same, in words
    const char* unit;             // "" when there is none
    const char* read;             // when the product reads it
    const char* means;
};

// Settings of the "Hosts" key, which are those of every host below it, stand at the end.
std::span<const RegistrySetting> AllSettings();
// Throws std::out_of_range for a name that the table lacks.
const RegistrySetting& SettingNamed(std::string_view name);

// "HKLM\\SOFTWARE\\..."; of a host's settings with "NAME" in place of the host's.
std::string KeyText(const RegistrySetting& setting);
// "text", "number" or "switch".
const char* TypeText(const RegistrySetting& setting);
std::string MissingText(const RegistrySetting& setting);

// What the registry holds, whether the product can read it or not.
struct StoredValue {
    std::uint32_t type = 0;
    std::string bytes;
    bool isCut = false;  // it holds a character that the system code page lacks
};

// A setting as the product sees it in this moment.
struct EffectiveSetting {
    const RegistrySetting* setting;
    std::string key;                    // with the host's name
    std::optional<StoredValue> stored;  // none: there is no value
    bool isTaken = false;               // the product can read what is stored
    std::uint32_t number = 0;
    std::string text = {};

    // "HKLM\\...\\Mail Root".
    std::string Place() const;
    // For people; credentials are not shown.
    std::string Shown() const;
};
EffectiveSetting ReadSetting(const RegistrySetting& setting, const std::string& key);
inline EffectiveSetting ReadSetting(const RegistrySetting& setting) {
    return ReadSetting(setting, setting.key);
}

// The value itself, without a look at where it came from.
std::uint32_t NumberOf(std::string_view name);

// "HKLM" or "HKCU".
const char* RootText(RegistryRoot root);
bool IsHostSetting(const RegistrySetting& setting);

}  // namespace tarnwick::admin
