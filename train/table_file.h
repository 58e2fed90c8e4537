#pragma once

#include <string>
#include <vector>

namespace quel::train {

/// A trained table as it stands in the source tree.
struct TableFile {
  std::string name;                  ///< file name, without .inc
  std::vector<std::string> comment;  ///< lines of the header, without slashes
  int width = 2;                     ///< floats per row
  int digits = 4;                    ///< decimals
  std::vector<float> values;         ///< row by row
};

/// Writes `out_dir`/name.inc: the header as comments, then one `{x, y},` per row. The file appears
/// under its name only when it is complete. Throws std::runtime_error, naming the file.
void write_table(const std::string& out_dir, const TableFile& table);

}  // namespace quel::train
