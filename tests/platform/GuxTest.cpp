// The utility-library stand-in: the behaviour the store relies on that the text and ini fuzz
// targets cannot reach.
#include <errno.h>
#include <unistd.h>

#include <string>

#include "TempRoot.h"
#include "gux.h"

// The text fuzz target checks the fingerprint's form and errors; this, that it is SHA-256.
TEST(GuxText, FingerprintIsSha256InHex) {
  char out[65];
  EXPECT_EQ(KwFPFromData_r("abc", 3, out, sizeof out, 3), 0);
  EXPECT_STREQ(out, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

class GuxFileTest : public TempRootTest {};

// The reading rules are the ini fuzz target's; here what its inputs cannot ask for.
TEST_F(GuxFileTest, IniReaderWithoutFileOrDefault) {
  writeFile("a.ini", "[one]\nkey = v\n");
  char buf[8] = "x";
  EXPECT_EQ(InifileGetValueA("one", "x", buf, sizeof buf, nullptr, at("a.ini").c_str()), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(InifileGetValueA("one", "key", buf, sizeof buf, nullptr, at("missing").c_str()), -1);
}

TEST_F(GuxFileTest, DirectoryTrees) {
  EXPECT_TRUE(CreateTreeA(at("a/b/c").c_str(), 0700));
  EXPECT_TRUE(CreateTreeA(at("a/b/c").c_str(), 0700));  // existing is fine
  writeFile("a/file", "x");
  errno = 0;
  EXPECT_FALSE(CreateTreeA(at("a/file/d").c_str(), 0700));
  EXPECT_EQ(errno, ENOTDIR);

  makeDir("outside");
  writeFile("outside/keep", "x");
  ASSERT_EQ(symlink(at("outside").c_str(), at("a/b/link").c_str()), 0);
  EXPECT_TRUE(DeleteTreeA(at("a").c_str()));
  EXPECT_FALSE(exists("a"));
  EXPECT_TRUE(exists("outside/keep"));  // the link was removed, not followed
  EXPECT_TRUE(DeleteTreeA(at("a").c_str()));

  makeDir("b/c");
  fault::failCall(fault::kRmdir, EBUSY, 1, "/b/c");
  EXPECT_FALSE(DeleteTreeA(at("b").c_str()));
  EXPECT_EQ(errno, EBUSY);
}
