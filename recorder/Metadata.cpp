#include "Metadata.h"

#include <strings.h>

#include <cstring>
#include <pugixml.hpp>

namespace recorder {

namespace {

/// Whether the element has this name, whatever prefix its namespace has here.
bool isNamed(const pugi::xml_node& element, const char* name)
{
    const char* const colon = std::strchr(element.name(), ':');
    return std::strcmp(colon != nullptr ? colon + 1 : element.name(), name) == 0;
}

/// Who is meant by a SIP URI: what stands before its port and parameters.
std::string withoutDetails(const std::string& uri)
{
    const std::size_t scheme = uri.find(':');
    const std::size_t from = scheme == std::string::npos ? 0 : scheme + 1;
    return uri.substr(from, uri.find_first_of(":;?>", from) - from);
}

bool names(const pugi::xml_node& participant, const std::string& uri)
{
    for (const pugi::xml_node& name : participant.children()) {
        const std::string address = name.attribute("aor").value();
        if (isNamed(name, "nameID") && ::strcasecmp(withoutDetails(address).c_str(), uri.c_str()) == 0) {
            return true;
        }
    }
    return false;
}

/// The first element below this one with this name and value of an attribute.
pugi::xml_node find(const pugi::xml_node& above, const char* name, const char* attribute, const std::string& value)
{
    return above.find_child([&](const pugi::xml_node& element) {
        return isNamed(element, name) && element.attribute(attribute).value() == value;
    });
}

std::string textIn(const pugi::xml_node& element, const char* name)
{
    return element.find_child([&](const pugi::xml_node& inner) { return isNamed(inner, name); }).text().get();
}

}  // namespace

std::string labelOf(const std::string& metadata, const std::string& participant)
{
    pugi::xml_document document;
    document.load_buffer(metadata.data(), metadata.size());
    const pugi::xml_node recording = document.document_element();
    const std::string wanted = withoutDetails(participant);
    for (const pugi::xml_node& person : recording.children()) {
        if (!isNamed(person, "participant") || !names(person, wanted)) {
            continue;
        }
        const std::string id = person.attribute("participant_id").value();
        const std::string stream = textIn(find(recording, "participantstreamassoc", "participant_id", id), "send");
        return textIn(find(recording, "stream", "stream_id", stream), "label");
    }
    return "";
}

}  // namespace recorder
