#include "db/TStringList.h"

namespace rotalis {

std::string TStringList::Text() const {
  std::string text;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (i > 0) text += '\n';
    text += lines_[i];
  }
  return text;
}

void TStringList::SetText(const std::string& text) {
  lines_.clear();
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::size_t lineEnd = end;
    if (lineEnd > start && text[lineEnd - 1] == '\r') --lineEnd;
    lines_.push_back(text.substr(start, lineEnd - start));
    start = end + 1;
  }
}

void TStringList::Add(const std::string& line) { lines_.push_back(line); }

}  // namespace rotalis
