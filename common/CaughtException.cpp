#include "common/CaughtException.h"

#include "common/WindowsApi.h"

#include <comdef.h>

#include <cstdio>
#include <exception>

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

std::string ComErrorText(const _com_error& error) {
    char code[11];
    std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(error.Error()));
    const _bstr_t source = error.Source();
    const _bstr_t description = error.Description();
    return std::string(" handled a COM error.\nCode = ") + code +
           "\nCode meaning = " + error.ErrorMessage() +
           "\nSource = " + TextOf(static_cast<const wchar_t*>(source)) +
           // The spelling is kept for whoever searches logs for it.
           "\nEror Description = " + TextOf(static_cast<const wchar_t*>(description)) + "\n";
}

}  // namespace

CaughtException DescribeCaughtException(std::string_view operation) {
    const std::string name(operation);
    try {
        throw;
    } catch (const _com_error& error) {
        return {CaughtKind::ComError, name + ComErrorText(error)};
    } catch (const std::exception& exception) {
        return {CaughtKind::Exception,
                name + " handled an exception; session will be dropped.\nThe exception was: " +
                    exception.what() + "\n"};
    } catch (...) {
        return {CaughtKind::Other, name + " raised an exception"};
    }
}

void ReportCaughtException(std::string_view operation) noexcept {
    try {
        const CaughtException caught = DescribeCaughtException(operation);
        Trace(caught.text);
        if (caught.kind == CaughtKind::Exception) {
            Report(ReportChannel::EventLogError, caught.text);
        }
    } catch (...) {
        // Memory is too short even for the report.
    }
}

}  // namespace tarnwick
