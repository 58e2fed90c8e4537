#pragma once

namespace quel::tools {

/// A mark on an unfinished output, by which a later run knows that no other program made it. The
/// three take an open file's descriptor; where the file system keeps no marks nothing is marked.
void mark(int descriptor);
bool is_marked(int descriptor);
void unmark(int descriptor);

}  // namespace quel::tools
