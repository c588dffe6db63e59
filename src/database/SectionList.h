// The section names of a description file, in file order, as the INI reader
// lists them. The first is the database's own section; every later one is a
// table. A list longer than the fixed buffer is read again, whole, into one
// of its own, released with the list.
#ifndef TALDB_DATABASE_SECTIONLIST_H
#define TALDB_DATABASE_SECTIONLIST_H

namespace TalDB {

class SectionList {
 public:
  SectionList() = default;
  ~SectionList();
  SectionList(const SectionList&) = delete;
  SectionList& operator=(const SectionList&) = delete;

  // 0; 12 no sections (logged); 18 no memory for the longer list (logged).
  int read(const char* iniFile);
  // The next name, or null after the last.
  char* next();

 private:
  char m_fixed[4095];
  char* m_large = nullptr;
  char* m_cursor = nullptr;
};

}  // namespace TalDB

#endif  // TALDB_DATABASE_SECTIONLIST_H
