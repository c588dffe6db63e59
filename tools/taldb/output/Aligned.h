// The aligned table a person reads: cells padded to their columns' widths.
#ifndef TALDB_TOOL_OUTPUT_ALIGNED_H
#define TALDB_TOOL_OUTPUT_ALIGNED_H

#include <stddef.h>

#include <ostream>
#include <string>
#include <vector>

namespace taldb_cli {

// Characters on screen, counting a UTF-8 sequence once.
size_t displayWidth(const std::string& text);
// Cells separated by two blanks; the last cell is not padded. A cell wider
// than its column (a row past the block the widths were fixed by) is printed
// whole, two blanks after it all the same.
void printAligned(std::ostream& out, const std::vector<std::string>& cells,
                  const std::vector<size_t>& widths);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_ALIGNED_H
