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

Answer::Answer(const Context& context) : context_(context) {
    if (context.json) lines_.emplace(context);
}

void Answer::Title(const std::string& title) {
    if (!lines_) Print((isEmpty_ ? "" : "\n") + title + "\n");
    isEmpty_ = false;
}

void Answer::Add(const Json& object, const std::string& text) {
    if (lines_) return lines_->Add(object);
    PrintDone(text, context_);
}

}  // namespace tarnwick::admin
