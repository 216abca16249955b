// Named properties of a store item: where they are read from, and a container that holds them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tarnwick {

// What a property holds; the numbers are those of the store provider's StoreItem_GetProperty.
enum class PropertyKind : std::uint32_t {
    Text = 1,      // 8-bit text
    Number = 2,    // signed 32-bit
    Double = 3,    // floating point
    FileTime = 4,  // 64-bit, 100 ns units since 1601-01-01 UTC
};

// A value; the alternatives stand in the order of the kinds.
using PropertyValue = std::variant<std::string, std::int32_t, double, std::uint64_t>;

PropertyKind KindOf(const PropertyValue& value);

// Something properties are read from by name. Reading must not throw but for lack of memory.
class PropertySource {
  public:
    virtual ~PropertySource() = default;

    // The property's value; no value when it is not found. `name` is zero-terminated.
    virtual std::optional<PropertyValue> Read(const char* name, PropertyKind kind) = 0;

    // The same with the value of a property that is not found.
    std::string TextOr(const char* name, std::string missing = {});
    std::int32_t NumberOr(const char* name, std::int32_t missing);
    std::optional<std::int32_t> Number(const char* name);
    std::optional<double> Double(const char* name);
    std::optional<std::uint64_t> FileTime(const char* name);
};

// The code with which the store provider reports that it found a property.
inline constexpr std::int32_t kPropertyFound = 2;

// Takes over what the store provider returned for one property: with the code kPropertyFound the
// value is copied and released with `free`; without a value, or with another code, there is none.
// Text is zero-terminated, other kinds are their bytes.
std::optional<PropertyValue> TakeReturnedValue(std::int32_t code, void* value, PropertyKind kind);

// Properties in memory, in the order in which they were set.
class ItemPropertyContainer : public PropertySource {
  public:
    // A property; its name is one of PropertyNames.h or otherwise outlives the container.
    struct Property {
        std::string_view name;
        PropertyValue value;
    };

    // Sets or replaces a property.
    void Set(const char* name, PropertyValue value);
    // A property of another kind is not found.
    std::optional<PropertyValue> Read(const char* name, PropertyKind kind) override;

    // Null when there is no property of that name.
    const PropertyValue* Find(std::string_view name) const;

    std::vector<Property>::const_iterator begin() const { return properties_.begin(); }
    std::vector<Property>::const_iterator end() const { return properties_.end(); }
    std::size_t size() const { return properties_.size(); }

  private:
    std::vector<Property> properties_;
};

}  // namespace tarnwick
