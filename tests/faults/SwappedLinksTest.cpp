// Somebody else may write in the folder that a file is written in, and swaps links in while it grows: the
// bytes go to no other place.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "host/HostError.h"
#include "host/files/NewFile.h"
#include "tests/support/TempFolder.h"

namespace Vantora::host {
namespace {

namespace fs = std::filesystem;
using testsupport::TempFolder;

TEST(SwappedLinks, AFolderThatBecomesALinkDoesntLeadElsewhere) {
  const TempFolder folder;
  fs::create_directory(folder / "mine");
  fs::create_directory(folder / "theirs");
  NewFile file(folder / "mine/p.json", true);
  file.Write("bytes");
  fs::rename(folder / "mine", folder / "moved");
  fs::create_directory_symlink(folder / "theirs", folder / "mine");
  file.Commit();
  EXPECT_EQ(TempFolder::Read(folder / "moved/p.json"), "bytes");
  EXPECT_TRUE(fs::is_empty(folder / "theirs"));
}

TEST(SwappedLinks, AFileThatBecomesALinkIsReplacedAndNotFollowed) {
  const TempFolder folder;
  folder.Write("precious", "old");
  NewFile file(folder / "p.json", true);
  file.Write("bytes");
  fs::create_symlink(folder / "precious", folder / "p.json");
  file.Commit();
  EXPECT_EQ(TempFolder::Read(folder / "precious"), "old");
  EXPECT_FALSE(fs::is_symlink(folder / "p.json"));
  EXPECT_EQ(TempFolder::Read(folder / "p.json"), "bytes");
}

TEST(SwappedLinks, TheGrowingFilesNameDoesntLeadElsewhereEither) {
  const TempFolder folder;
  folder.Write("precious", "old");
  {
    NewFile file(folder / "p.json", true);
    fs::remove(file.Path());
    fs::create_symlink(folder / "precious", file.Path());
    file.Write("bytes");
  }
  EXPECT_EQ(TempFolder::Read(folder / "precious"), "old");
}

TEST(SwappedLinks, ALinkThatStoodThereFromTheBeginningIsFollowedOnPurpose) {
  const TempFolder folder;
  fs::create_directory(folder / "bank");
  folder.Write("bank/real.json", "old");
  fs::create_symlink("bank/real.json", folder / "p.json");
  NewFile file(folder / "p.json", true);
  file.Write("bytes");
  file.Commit();
  EXPECT_TRUE(fs::is_symlink(folder / "p.json"));
  EXPECT_EQ(TempFolder::Read(folder / "bank/real.json"), "bytes");
  for (const char* name : {"", "."}) EXPECT_THROW(NewFile(name, true), HostError) << name;
  EXPECT_THROW(NewFile(folder / "bank/", true), HostError);
}

}  // namespace
}  // namespace Vantora::host
