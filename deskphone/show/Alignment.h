#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace deskphone {

using Keys = std::vector<std::string_view>;

/// What stands on both sides, or on one, the other index being NOWHERE.
struct Aligned {
    std::size_t left;
    std::size_t right;
};
constexpr std::size_t NOWHERE = static_cast<std::size_t>(-1);

/// All of both sides in order, with as many equal keys beside each other as possible, or nearly so where the sides
/// differ in hundreds of places; what is only left stands before what is only right. The time goes with the length, and
/// with the number of differences up to a bound.
std::vector<Aligned> align(const Keys& left, const Keys& right);

}  // namespace deskphone
