#include "tools/admin/Json.h"

#include "tools/admin/Console.h"

namespace tarnwick::admin {

JsonLines::JsonLines(const Context& context) {
    Json head{{"formatVersion", 1}, {"command", context.command}};
    if (context.dryRun) head["dryRun"] = true;
    Add(head);
}

void JsonLines::Add(const Json& object) {
    PrintBytes(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

}  // namespace tarnwick::admin
