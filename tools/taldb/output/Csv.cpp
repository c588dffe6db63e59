#include "output/Csv.h"

namespace taldb_cli {

std::string csvCell(const std::string& text) {
  bool quote = text.find_first_of(",\"\r\n") != std::string::npos ||
               (!text.empty() && (text.front() == ' ' || text.back() == ' '));
  if (!quote) return text;
  std::string cell = "\"";
  for (char c : text) cell += c == '"' ? std::string("\"\"") : std::string(1, c);
  return cell + "\"";
}

void printCsvLine(std::ostream& out, const std::vector<std::string>& cells) {
  for (size_t i = 0; i < cells.size(); ++i) out << (i ? "," : "") << csvCell(cells[i]);
  out << '\n';
}

}  // namespace taldb_cli
