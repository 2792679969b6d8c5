#pragma once

#include <brisko_codec/alignment.h>

#include <string>

namespace brisko {

/// The text of an ALG file as the grid writer writes it: one box around all points.
std::string algText(const double (&matrix)[16], const AlignmentBox& box);

}  // namespace brisko
