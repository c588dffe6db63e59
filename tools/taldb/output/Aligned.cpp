#include "output/Aligned.h"

namespace taldb_cli {

// Characters on screen, counting a UTF-8 sequence once.
size_t displayWidth(const std::string& text) {
  size_t width = 0;
  for (unsigned char c : text) width += (c & 0xC0) != 0x80;
  return width;
}

// Cells separated by two blanks; the last cell is not padded. A cell wider
// than its column (a row past the block the widths were fixed by) is printed
// whole, two blanks after it all the same.
void printAligned(std::ostream& out, const std::vector<std::string>& cells,
                  const std::vector<size_t>& widths) {
  for (size_t i = 0; i < cells.size(); ++i) {
    out << cells[i];
    if (i + 1 == cells.size()) break;
    size_t width = i < widths.size() ? widths[i] : 0, used = displayWidth(cells[i]);
    out << std::string(width > used ? width - used + 2 : 2, ' ');
  }
  out << '\n';
}

}  // namespace taldb_cli
