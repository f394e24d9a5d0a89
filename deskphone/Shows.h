#pragma once

#include <memory>
#include <vector>

#include "Options.h"
#include "show/Show.h"

namespace deskphone {

using Shows = std::vector<std::unique_ptr<Show>>;

/// What the options ask to be made of a run's steps.
Shows showsFor(const Options& options);

}  // namespace deskphone
