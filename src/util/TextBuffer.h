// A growable, NUL-terminated text on the heap that reports a failed allocation
// instead of throwing, so that the operations building record content or a
// schema line can turn it into their "no memory" result.
#ifndef TALDB_UTIL_TEXTBUFFER_H
#define TALDB_UTIL_TEXTBUFFER_H

#include <stddef.h>

namespace TalDB {

class TextBuffer {
 public:
  TextBuffer() = default;
  ~TextBuffer();
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  // False when memory ran out; the text is then unchanged.
  bool append(const char* text, size_t length);
  bool append(const char* text);
  bool append(char c) { return append(&c, 1); }

  const char* data() const { return m_data != nullptr ? m_data : ""; }
  size_t size() const { return m_size; }

 private:
  char* m_data = nullptr;
  size_t m_size = 0;
  size_t m_capacity = 0;
};

}  // namespace TalDB

#endif  // TALDB_UTIL_TEXTBUFFER_H
