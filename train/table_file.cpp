#include "train/table_file.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quel::train {

void write_table(const std::string& out_dir, const TableFile& table) {
  std::filesystem::create_directories(out_dir);
  const std::filesystem::path path = std::filesystem::path(out_dir) / (table.name + ".inc");
  const std::filesystem::path partial = path.string() + ".part";
  {
    std::ofstream out(partial);
    for (const auto& line : table.comment) out << "// " << line << '\n';
    for (std::size_t i = 0; i < table.values.size(); ++i) {
      const bool first = i % static_cast<std::size_t>(table.width) == 0;
      const bool last = (i + 1) % static_cast<std::size_t>(table.width) == 0;
      char text[32];
      std::snprintf(text, sizeof text, "%.*ff", table.digits, static_cast<double>(table.values[i]));
      out << (first ? "{" : ", ") << text << (last ? "},\n" : "");
    }
    if (!out.flush()) throw std::runtime_error(path.string() + ": cannot be written");
  }
  std::filesystem::rename(partial, path);
}

}  // namespace quel::train
