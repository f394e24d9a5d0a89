#pragma once

#include <string>

/// The framework's text form of arguments.
class Serializer {
public:
    /// Decodes the string serialised in `in` into `out`. False, with `out` left as it is, when `in` is no such text.
    static bool deserialize(std::string& in, std::string& out, bool);
};
