#include "Library/ExceptionReport.h"

#include "common/WindowsApi.h"

#include <comdef.h>

#include <cstdio>
#include <exception>
#include <string>

#include "common/Reports.h"

namespace tarnwick {
namespace {

std::string TextOf(const wchar_t* text) {
    std::string bytes;
    for (; text != nullptr && *text != L'\0'; ++text) {
        bytes += *text < 0x100 ? static_cast<char>(*text) : '?';
    }
    return bytes;
}

std::string ComErrorText(std::string_view operation, const _com_error& error) {
    char code[11];
    std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(error.Error()));
    const _bstr_t source = error.Source();
    const _bstr_t description = error.Description();
    return std::string(operation) + " handled a COM error.\nCode = " + code +
           "\nCode meaning = " + error.ErrorMessage() +
           "\nSource = " + TextOf(static_cast<const wchar_t*>(source)) +
           "\nEror Description = " + TextOf(static_cast<const wchar_t*>(description)) + "\n";
}

void Classify(std::string_view operation) {
    try {
        throw;
    } catch (const _com_error& error) {
        Trace(ComErrorText(operation, error));
    } catch (const std::exception& exception) {
        const std::string text = std::string(operation) +
                                 " handled an exception; session will be dropped.\n" +
                                 "The exception was: " + exception.what() + "\n";
        Trace(text);
        Report(ReportChannel::EventLogError, text);
    } catch (...) {
        Trace(std::string(operation) + " raised an exception");
    }
}

}  // namespace

void ReportCaughtException(std::string_view operation) noexcept {
    try {
        Classify(operation);
    } catch (...) {
        // Memory is too short even for the report.
    }
}

}  // namespace tarnwick
