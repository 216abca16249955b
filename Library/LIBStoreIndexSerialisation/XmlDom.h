// The platform's XML document object model, as little of it as an index needs. COM failures are
// thrown as _com_error.
#pragma once

// Windows comes before what builds on it.
#include "common/WindowsApi.h"

#include <comdef.h>
#include <msxml.h>
#include <oleauto.h>

#include <string>
#include <string_view>
#include <utility>

namespace tarnwick {

// Owns one reference to a COM object.
template <typename Interface>
class ComPointer {
  public:
    ComPointer() = default;
    explicit ComPointer(Interface* owned) : object_(owned) {}
    ComPointer(ComPointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ComPointer& operator=(ComPointer&& other) noexcept {
        if (this != &other) {
            Reset();
            object_ = std::exchange(other.object_, nullptr);
        }
        return *this;
    }
    ComPointer(const ComPointer&) = delete;
    ComPointer& operator=(const ComPointer&) = delete;
    ~ComPointer() { Reset(); }

    explicit operator bool() const { return object_ != nullptr; }
    Interface* Get() const { return object_; }
    Interface* operator->() const { return object_; }
    // Where a call that gives a reference is to put it; gives up what was held.
    Interface** Receive() {
        Reset();
        return &object_;
    }

  private:
    void Reset() {
        if (object_ != nullptr) std::exchange(object_, nullptr)->Release();
    }

    Interface* object_ = nullptr;
};

// A COM string. Each byte of 8-bit text is the character of that value, so that text keeps its
// bytes whatever the system's code page is.
class ComText {
  public:
    ComText() = default;
    explicit ComText(std::string_view text);
    // A path, in the system code page as all paths.
    static ComText OfPath(const std::string& path);
    ComText(ComText&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    ComText(const ComText&) = delete;
    ComText& operator=(const ComText&) = delete;
    ~ComText() { SysFreeString(text_); }

    BSTR Get() const { return text_; }
    BSTR* Receive();
    // The text in bytes. A character that is no byte (another producer's) becomes what it is in the
    // system code page, or "?".
    std::string Bytes() const;

  private:
    BSTR text_ = nullptr;
};

// COM for the calling thread, for as long as the object lives; a thread that has it already keeps
// its own kind.
class ComApartment {
  public:
    ComApartment() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment() {
        if (SUCCEEDED(result_)) CoUninitialize();
    }

  private:
    HRESULT result_;
};

// Throws what `result` says, when it says failure; gives it back otherwise (S_FALSE means "none").
HRESULT CheckCom(HRESULT result);

// The interface of elements, for QueryInterface.
extern const IID kXmlDomElement;

// Creates an empty document of the XML library that the registry chooses. Nothing when it could not
// be created (reported), or when a library version is chosen that is not served.
ComPointer<IXMLDOMDocument> CreateDomDocument();

}  // namespace tarnwick
