#include "orders/Script.h"

#include <iostream>
#include <optional>
#include <sstream>
#include <utility>

#include "orders/Judge.h"
#include "scenario/Commands.h"
#include "scenario/ScenarioFile.h"

namespace deskphone {

namespace {

/// What `# allowed WHAT: why` allows, if the comment is one of these.
std::optional<std::string> allowedBy(const std::string& comment)
{
    std::istringstream words(comment);
    std::string sign;
    std::string word;
    std::string what;
    words >> sign >> word >> what;
    if (sign != "#" || word != "allowed") {
        return std::nullopt;
    }
    if (what.empty() || what.back() != ':' || words.peek() == std::istringstream::traits_type::eof()) {
        throw Mistake("expected # allowed WHAT: why");
    }
    what.pop_back();
    if (Judge::CHECKS.count(what) == 0) {
        std::string known;
        for (const std::string& check : Judge::CHECKS) {
            known += (known.empty() ? "" : ", ") + check;
        }
        throw Mistake("cannot allow " + quoted(what) + "; expected one of " + known);
    }
    return what;
}

}  // namespace

Script::Script(const std::vector<std::string>& files)
{
    for (const std::string& name : files) {
        ScenarioFile file(name, std::cerr);
        try {
            for (bool any = true; any;) {
                Given command;
                any = file.next(command);
                for (const std::string& comment : command.comments) {
                    if (const auto what = allowedBy(comment)) {
                        allowed.insert(*what);
                    }
                    lastComments.push_back(comment);
                }
                if (any) {
                    meanings.push_back(&findCommand(command.words));
                    places.push_back(file.place());
                    command.comments = std::exchange(lastComments, {});
                    commands.push_back(std::move(command));
                }
            }
        } catch (const Mistake& mistake) {
            throw Mistake(file.place() + ": " + mistake.what());
        }
    }
}

}  // namespace deskphone
