#include "show/JsonShow.h"

#include <nlohmann/json.hpp>

namespace deskphone {

namespace {

using Json = nlohmann::ordered_json;

struct ToJson {
    Json operator()(std::monostate /*nothing*/) const { return nullptr; }
    Json operator()(const List& list) const
    {
        Json array = Json::array();
        for (const Value& value : list) {
            array.push_back(std::visit(*this, value));
        }
        return array;
    }
    template <typename Scalar>
    Json operator()(const Scalar& scalar) const
    {
        return scalar;
    }
};

std::string line(const Json& object)
{
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

void JsonShow::add(const Step& step)
{
    std::string text = step.begins ? line({{"step", step.number}, {"command", step.command}}) : "";
    for (std::size_t thread = 0; thread < NUMBER_OF_THREADS; ++thread) {
        for (const Record& record : step.records[thread]) {
            Json object{{"step", step.number}, {"thread", threadNames[thread]}};
            if (const auto* const call = std::get_if<Call>(&record)) {
                object["call"] = call->name;
                object["args"] = ToJson()(call->arguments);
            } else if (const auto* const log = std::get_if<LogLine>(&record)) {
                object["log"] = log->level;
                object["component"] = log->component;
                object["source"] = log->source;
                object["text"] = log->text;
            } else if (const auto* const event = std::get_if<MachineEvent>(&record);
                       event != nullptr && m_showsStates) {
                object["line"] = event->line;
                object["event"] = event->event;
                object["from"] = event->from;
                object["to"] = event->to.empty() ? Json() : Json(event->to);
            } else {
                continue;  // what the default form, which is fixed, does not tell
            }
            text += line(object);
        }
    }
    if (const bool lampIsOn = lampIsOnAfter(step); m_showsStates && lampIsOn != step.lampWasOn) {
        text += line({{"step", step.number}, {"lamp", lampIsOn}});
    }
    if (step.ends) {
        text += line({{"step", step.number}, {"result", std::visit(ToJson(), step.result)}});
    }
    m_screen.print(text);
}

}  // namespace deskphone
