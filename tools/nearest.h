#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quel::tools {

/// Single characters to insert, to remove, to replace or to swap with their neighbour to make one
/// word of the other.
std::size_t edit_distance(const std::string& a, const std::string& b);

/// The word that somebody meant who typed another: the first of the nearest, no further away than a
/// third of its length; empty where none is so near.
std::string nearest(const std::string& typed, const std::vector<std::string>& words);

}  // namespace quel::tools
