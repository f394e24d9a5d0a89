#include "telephone/Step.h"

#include "PhysDefs.h"

namespace deskphone {

std::optional<bool> lampSetBy(const Call& call)
{
    if (call.name != "PhysicalInterfaceServiceIfc.setFPKLamp") {
        return std::nullopt;
    }
    return std::get<int>(call.arguments[1]) == PhysDefs::LAMP_ON;
}

bool lampIsOnAfter(const Step& step)
{
    bool on = step.lampWasOn;
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            if (const auto* const call = std::get_if<Call>(&record)) {
                on = lampSetBy(*call).value_or(on);
            }
        }
    }
    return on;
}

}  // namespace deskphone
