#include "remote/AdminProtocol.h"

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

std::string Bounded(std::string message) {
    if (message.size() >= kControlCapacity) message.resize(kControlCapacity - 1);
    return message;
}

}  // namespace

std::string AuthMessage(std::string_view protocol, std::string_view credentials) {
    std::string message = "<DATA><METHOD>AUTH</METHOD><PROTOCOL>";
    message.append(protocol).append("</PROTOCOL><CREDENTIALS>").append(credentials);
    // Services look for the library of AUTH in an element of mixed case, unlike that of LOAD. The
    // realm is never used but is part of the message.
    message += "</CREDENTIALS><REALM></REALM><Library>TWAIAU.DLL</Library></DATA>";
    return Bounded(std::move(message));
}

std::string LoadMessage(std::string_view library) {
    std::string message = "<DATA><METHOD>LOAD</METHOD><LIBRARY>";
    message.append(library).append("</LIBRARY></DATA>");
    return Bounded(std::move(message));
}

bool IsSuccessReply(std::string_view reply) {
    return FindText(UpToNul(reply), kSuccessReply) != kNotFound;
}

bool IsOwnProgram(std::string_view executablePath) {
    // The path as the system gives it, so that a program in a folder on a drive is not one of them,
    // whatever its file name; installations depend on that.
    const std::size_t dot = FindByte(executablePath, '.');
    return StartsWithIgnoreCase(executablePath, "TW") && dot != kNotFound &&
           EqualsIgnoreCase(executablePath.substr(dot), ".EXE");
}

}  // namespace tarnwick
