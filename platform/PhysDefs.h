#pragma once

namespace PhysDefs {

/// Functions that a programmable key can have.
enum keyFunctionType : int { KEY_FUNCTION_CALL_RECORDING = 56 };

enum lampStateType : int { LAMP_OFF = 2, LAMP_ON = 3 };

}  // namespace PhysDefs
