// The fixture every store test uses: a fresh, empty database root in a
// temporary directory, a log capture, and small helpers to set files up and
// look at them afterwards.
#ifndef TALDB_TESTS_TEMPROOT_H
#define TALDB_TESTS_TEMPROOT_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FaultInjection.h"
#include "LogCapture.h"

// A new directory named PREFIX-XXXXXX under $TALDB_TEST_TMPDIR, /dev/shm or
// /tmp; empty when it cannot be made.
std::string MakeTempDir(const char* prefix);

class TempRootTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // root_ + "/" + relative.
  std::string at(const std::string& relative) const;
  void writeFile(const std::string& relative, const std::string& content) const;
  std::string readFile(const std::string& relative) const;
  bool exists(const std::string& relative) const;
  void makeDir(const std::string& relative) const;
  // The names in a directory, "." and ".." left out, sorted.
  std::vector<std::string> list(const std::string& relative) const;
  // Lays down a table by hand: its schema file (schema line, "\n", any
  // fingerprint) under tal/schema and an empty directory under tal/database.
  void makeTable(const std::string& name, const std::string& schemaLine) const;

  std::string root_;
  LogCapture log_;
};

#endif  // TALDB_TESTS_TEMPROOT_H
