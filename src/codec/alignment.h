#pragma once

#include <brisko_codec/alignment.h>

#include "base/read_errors.h"
#include "layouts/alignment_matrix.h"

#include <string>

namespace brisko {

/// Loads the alignment of a scan from its ALG file. The matrix stays as it is unless the answer is
/// File: a file that is missing, cannot be read, does not parse, or holds an element that is not a
/// finite number aligns nothing.
///   errors  may be null
AlignmentSource loadAlignment(const std::string& path, AlignmentMatrix& matrix,
                              ReadErrors* errors = nullptr);

/// The alignment that lies beside a scan.
Alignment alignmentBeside(const std::string& scanPath, ReadErrors& errors);

}  // namespace brisko
