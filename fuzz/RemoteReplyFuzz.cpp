// Any reply is read like that of a remote call: a record keeps its bytes unless its element arrived
// whole, and what was taken goes out and comes back the same.
#include <vector>

#include "fuzz/Fuzz.h"
#include "remote/Envelope.h"

namespace tarnwick::fuzz {
namespace {

void CheckParameter(std::string_view reply, int number, std::size_t size) {
    const std::vector<std::byte> before(size, std::byte{0xA5});
    std::vector<std::byte> record = before;
    if (!GetResponseParameter(reply, number, record)) {
        Require(record == before);
        return;
    }
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, "AppointmentGet");
    Require(AddRequestParameter(request, number, record));
    std::vector<std::byte> back = before;
    const std::string_view sent(request.data(), request.size());
    Require(GetResponseParameter(sent, number, back) && back == record);
}

}  // namespace

void Check(std::string_view reply) {
    CheckParameter(reply, 0, 4);
    CheckParameter(reply, 1, 4);
    CheckParameter(reply, 1, 648);
    const auto method = ElementText(reply, "METHOD");
    Require(!method || method->size() + 17 <= reply.size());
}

}  // namespace tarnwick::fuzz
