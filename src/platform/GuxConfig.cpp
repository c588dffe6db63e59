// The host's configuration object and the shared tables of configuration names.
#include <stdlib.h>
#include <string.h>

#include "gux.h"

const char* const _gux_config_section_string_table_[] = {"Storage"};
const char* const _gux_config_entry_string_table_[] = {"StorageDatabase"};

_kwConfigClass::_kwConfigClass(const char* path) : m_filePath(strdup(path != nullptr ? path : "")) {
  pthread_mutex_init(&m_mutex, nullptr);
}

_kwConfigClass::~_kwConfigClass() {
  pthread_mutex_destroy(&m_mutex);
  free(m_filePath);
}

const char* _kwConfigClass::filePath() { return m_filePath; }

pthread_mutex_t* _kwConfigClass::mutex() { return &m_mutex; }
