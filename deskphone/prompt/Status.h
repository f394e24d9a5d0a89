#pragma once

#include <string>

namespace deskphone {

class Recorder;
class Telephone;

/// The mode, the selected line, the lamp, and each line with its machine's state and its session. Changes nothing and
/// leaves no records.
std::string describeTelephone(Telephone& telephone, Recorder& recorder);

}  // namespace deskphone
