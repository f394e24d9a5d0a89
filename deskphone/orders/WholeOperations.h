#pragma once

#include <functional>
#include <set>

#include "Orders.h"
#include "orders/Judge.h"
#include "orders/OrderedRun.h"

namespace deskphone {

/// The part of the facts that an order of whole operations must explain: what stays when all is done.
Facts lasting(const Facts& facts);

/// What the orders of whole operations lead to: each command, each delivery of an event is one; nothing comes in
/// between. `play` plays the script with a schedule and returns the facts.
std::set<Facts> outcomesOfWholeOperations(const std::function<Facts(runtime::orders::Schedule&)>& play);

}  // namespace deskphone
