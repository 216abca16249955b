#include "Library/convert/ItemProperties.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace tarnwick {
namespace {

template <typename Value>
std::optional<Value> ReadAs(PropertySource& source, const char* name, PropertyKind kind) {
    std::optional<PropertyValue> value = source.Read(name, kind);
    if (!value) return std::nullopt;
    Value* held = std::get_if<Value>(&*value);
    return held == nullptr ? std::nullopt : std::optional<Value>(std::move(*held));
}

template <typename Value>
Value FromBytes(const void* bytes) {
    Value value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

constexpr std::size_t kUsualCount = 8;

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

PropertyKind KindOf(const PropertyValue& value) {
    return static_cast<PropertyKind>(value.index() + 1);
}

std::string PropertySource::TextOr(const char* name, std::string missing) {
    return ReadAs<std::string>(*this, name, PropertyKind::Text).value_or(std::move(missing));
}

std::int32_t PropertySource::NumberOr(const char* name, std::int32_t missing) {
    return Number(name).value_or(missing);
}

std::optional<std::int32_t> PropertySource::Number(const char* name) {
    return ReadAs<std::int32_t>(*this, name, PropertyKind::Number);
}

std::optional<double> PropertySource::Double(const char* name) {
    return ReadAs<double>(*this, name, PropertyKind::Double);
}

std::optional<std::uint64_t> PropertySource::FileTime(const char* name) {
    return ReadAs<std::uint64_t>(*this, name, PropertyKind::FileTime);
}

std::optional<PropertyValue> TakeReturnedValue(std::int32_t code, void* value, PropertyKind kind) {
    if (code != kPropertyFound) return std::nullopt;
    const std::unique_ptr<void, FreeDeleter> owned(value);
    if (value == nullptr) return std::nullopt;
    switch (kind) {
        case PropertyKind::Text:
            return std::string(static_cast<const char*>(value));
        case PropertyKind::Number:
            return FromBytes<std::int32_t>(value);
        case PropertyKind::Double:
            return FromBytes<double>(value);
        case PropertyKind::FileTime:
            return FromBytes<std::uint64_t>(value);
    }
    return std::nullopt;
}

void ItemPropertyContainer::Set(const char* name, PropertyValue value) {
    for (Property& property : properties_) {
        if (property.name == name) {
            property.value = std::move(value);
            return;
        }
    }
    // Enough for an event that does not recur, so that most items allocate once.
    if (properties_.empty()) properties_.reserve(kUsualCount);
    properties_.push_back({name, std::move(value)});
}

const PropertyValue* ItemPropertyContainer::Find(std::string_view name) const {
    for (const Property& property : properties_) {
        if (property.name == name) return &property.value;
    }
    return nullptr;
}

std::optional<PropertyValue> ItemPropertyContainer::Read(const char* name, PropertyKind kind) {
    const PropertyValue* value = Find(name);
    if (value == nullptr || KindOf(*value) != kind) return std::nullopt;
    return *value;
}

}  // namespace tarnwick
