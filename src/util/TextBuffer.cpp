#include "util/TextBuffer.h"

#include <stdlib.h>
#include <string.h>

namespace TalDB {

TextBuffer::~TextBuffer() { free(m_data); }

bool TextBuffer::append(const char* text, size_t length) {
  if (m_size + length + 1 > m_capacity) {
    size_t capacity = m_capacity == 0 ? 256 : m_capacity;
    while (capacity < m_size + length + 1) capacity *= 2;
    char* grown = static_cast<char*>(realloc(m_data, capacity));
    if (grown == nullptr) return false;
    m_data = grown;
    m_capacity = capacity;
  }
  memcpy(m_data + m_size, text, length);
  m_size += length;
  m_data[m_size] = '\0';
  return true;
}

bool TextBuffer::append(const char* text) { return append(text, strlen(text)); }

}  // namespace TalDB
