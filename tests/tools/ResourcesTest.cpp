#include "tools/Resources.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"
#include "tests/tools/CapturedOutput.h"
#include "tools/CLog.h"
#include "tools/Locations.h"

namespace Vantora {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::CapturedOutput;
using testsupport::TempFolder;

/// Runs the library's log at full talk and keeps what it says, a line each: "LEVEL text".
class LogRecorder : LogListener {
 public:
  LogRecorder() {
    LogConfiguration everything;
    everything.logInRelease = true;
    everything.defaultLevel = kLogDebug;
    CLog::Instance().ApplyConfiguration(everything);
    CLog::Instance().SetListener(this);
  }
  ~LogRecorder() override {
    CLog::Instance().SetListener(nullptr);
    CLog::Instance().ApplyConfiguration({});
  }
  std::vector<std::string> lines;

 private:
  void OnLogLine(const std::string& line) override {
    EXPECT_THAT(line, HasSubstr("| description | "));
    const std::string levelAndText = line.substr(line.find("| description | ") + 16);
    lines.push_back(levelAndText.substr(0, levelAndText.find(' ')) + " " +
                    levelAndText.substr(10, levelAndText.size() - 11));
  }
  CapturedOutput silence;
};

TEST(Locations, KnowsEightSpecialFolders) {
  ::setenv("HOME", "/home/somebody", 1);
  const std::vector<std::string> expected = {"/opt/",
                                             "",
                                             "",
                                             "/home/somebody/Desktop/",
                                             "/home/somebody/Downloads/",
                                             "/home/somebody/",
                                             "/",
                                             "/home/somebody/Documents/"};
  std::string folder;
  for (uint32_t i = 0; i < 8; ++i) {
    EXPECT_TRUE(GetSpecialFolder(i, folder));
    EXPECT_EQ(folder, expected[i]);
  }
  EXPECT_FALSE(GetSpecialFolder(8, folder));
  EXPECT_EQ(folder, expected[7]);
  ::unsetenv("HOME");
  EXPECT_TRUE(GetSpecialFolder(kDesktopFolder, folder));
  EXPECT_EQ(folder, "~/Desktop/");
}

TEST(Locations, FindTheParentBehindTrailingSeparators) {
  EXPECT_EQ(GetParentFolder("/a/b/c"), "/a/b");
  EXPECT_EQ(GetParentFolder("/a/b\\/"), "/a");
  EXPECT_EQ(GetParentFolder("/a\\b/c\\d"), "/a\\b");
  EXPECT_EQ(GetParentFolder("/a"), "");
  EXPECT_EQ(GetParentFolder("a"), "");
  EXPECT_EQ(GetParentFolder("//"), "");
}

TEST(Resources, SearchesElevenFoldersAroundTheLibraryAndSaysSo) {
  LogRecorder log;
  Resources resources("/a/b/c/d/e/f/lib.1.so");
  EXPECT_THAT(log.lines, ElementsAre("info [CONF] ProgramData Path : /opt/",
                                     "notice [CONF] GetDyLibFullPath filename:/a/b/c/d/e/f/lib.1.so",
                                     "notice [CONF] productname:lib.1"));
  EXPECT_EQ(resources.ProgramDataPath(), "/opt");
  log.lines.clear();
  for (int round = 0; round < 2; ++round) {
    EXPECT_THAT(
        resources.SearchFolders(),
        ElementsAre("/a/b/c/d/e/f/", "/a/b/c/d/e/f/resources/", "/a/b/c/", "/a/b/c/resources/",
                    "/a/b/c/d/e/Resources/", "/a/b/c/d/e/Resources/resources/", "/a/data/resources/", "",
                    "/a/b/c/d/data/resources/", "/opt/Vantora/lib.1/", "/opt/Vantora/lib.1/resources/"));
  }
  EXPECT_THAT(log.lines,
              ElementsAre("notice [CONF] Get Current Binary Folder absolute path:/a/b/c/d/e/f/",
                          "notice [CONF] Get Current Bundle absolute path:/a/b/c/",
                          "notice [CONF] Get Current Bundle Resources path:/a/b/c/d/e/Resources/",
                          "notice [CONF] Get Working copy resources folder:/a/data/resources/",
                          "notice [CONF] Get Working copy resources folder:/a/b/c/d/data/resources/",
                          "notice [CONF] Get Program Data Product Absolute path:/opt/Vantora/lib.1/"));
}

TEST(Resources, NamesTheProductAfterItsFile) {
  EXPECT_EQ(Resources("/x/Tonal Yard 3.so").ProductName(), "Tonal Yard 4");
  EXPECT_EQ(Resources("/x.y/lib").ProductName(), "lib");
  LogRecorder log;
  EXPECT_EQ(Resources("").ProductName(), "");
  EXPECT_EQ(log.lines.back(), "notice [CONF] DyLibFullPath not found - Path : ");
}

TEST(Resources, FindsTheRootAboveDataFoldersAndBundles) {
  EXPECT_EQ(WorkingCopyRootOf("/X/data/lib.so"), "/X");
  EXPECT_EQ(WorkingCopyRootOf("/X/Y/lib.so"), "");
  EXPECT_EQ(WorkingCopyRootOf("/W/X/Y/lib.so"), "/W");
  EXPECT_EQ(WorkingCopyRootOf("/W/X/Y.bundle/Contents/MacOS/lib.so"), "");
  EXPECT_EQ(WorkingCopyRootOf("/V/W/data/Y.bundle/Contents/MacOS/lib.so"), "/V/W");
}

TEST(Resources, FindsTheFirstFileOfTheSearch) {
  TempFolder tree;
  Resources resources(tree / "p4/p3/p2/p1/lib.so");
  LogRecorder log;
  // From a late place to the first; each must beat those before it.
  const std::string files[] = {"p4/p3/p2/Resources/x.txt", "p4/x.txt", "p4/p3/p2/p1/x.txt", "own/x.txt"};
  for (const std::string& file : files) {
    const std::string expected = tree.Write(file, "");
    if (file == files[3]) resources.SetResourcesFolder(tree / "own/");
    std::string path = "x.txt";
    EXPECT_TRUE(resources.FindFile(path, path, true, false));
    EXPECT_EQ(path, expected);
    EXPECT_EQ(log.lines.back(), "info [CONF] File found on " + expected);
  }
}

TEST(Resources, TellsWhatItTriedAtTheLevelAsked) {
  TempFolder tree;
  Resources resources(tree / "lib.so");
  resources.SetResourcesFolder("/nowhere/");
  resources.SearchFolders();
  LogRecorder log;
  std::string path = "left over";
  EXPECT_FALSE(resources.FindFile("no-such-file", path, true, false));
  EXPECT_EQ(path, "left over");
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_THAT(log.lines[0], StartsWith("warning [CONF] File not found on " + (tree / "no-such-file\n")));
  EXPECT_THAT(log.lines[0], HasSubstr("\nno-such-file\n"));
  EXPECT_THAT(log.lines[0], testing::Not(HasSubstr("nowhere")));
  EXPECT_FALSE(resources.FindFile("/no-such-file", path, false, false));
  EXPECT_EQ(log.lines.back(), "info [CONF] File not found: /no-such-file");
  EXPECT_EQ(path, "");
  EXPECT_FALSE(resources.FindFile("~/x", path, true, false));
  EXPECT_EQ(log.lines.back(), "warning [CONF] File not found: ~/x");
  EXPECT_FALSE(resources.FindFile("no-such-file", path, true, true));
  EXPECT_TRUE(resources.FindFile(tree.Path(), path, true, true));
  EXPECT_EQ(path, tree.Path());
  EXPECT_TRUE(resources.FindFile("", path, true, true));
  EXPECT_EQ(path, tree.Path() + "/");
  EXPECT_EQ(log.lines.size(), 3u);
}

TEST(Resources, TriesTheFivePlacesOfASharedLibraryInOrder) {
  TempFolder tree;
  Resources resources(tree / "1/2/3/4/lib.so");  // the root is 1/2
  const std::string name = "probe-" + std::filesystem::path(tree.Path()).filename().string();
  const std::string file = name + ".so";
  try {
    resources.FindSharedFolder(name);
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_EQ(e.what(), "ERROR : unable to find " + name + " folder");
  }
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directories(tree / "here");
  std::filesystem::current_path(tree / "here");
  // From the last place to the first; each must beat those before it.
  tree.Write("1/2/Shared/" + file, "");
  EXPECT_EQ(resources.FindSharedFolder(name), tree / "1/2/Shared");
  tree.Write("1/2/data/Shared/" + file, "");
  EXPECT_EQ(resources.FindSharedFolder(name), tree / "1/2/data/Shared");
  tree.Write("r/s/" + file, "");
  tree.Write("r/Shared/" + file, "");
  resources.SetResourcesFolder(tree / "r/s/");
  EXPECT_EQ(resources.FindSharedFolder(name), tree / "r/s/../Shared");
  tree.Write("here/" + file, "");
  EXPECT_EQ(resources.FindSharedFolder(name), "./");
  EXPECT_EQ(resources.GetSharedLibraryPath(name), ".//" + file);
  tree.Write("Shared/" + file, "");
  EXPECT_EQ(resources.FindSharedFolder(name), tree / "1/2/../../Shared");
  EXPECT_EQ(resources.GetSharedLibraryPath(name), tree / ("1/2/../../Shared/" + file));
  std::filesystem::current_path(before);
  EXPECT_EQ(resources.SharedPlaces(name)[4].file, "/opt/Vantora/Shared/" + file);
}

TEST(Resources, ReportsAMissingResourcesFolderAsAnError) {
  Resources resources("/a/b/c/lib.so");
  LogRecorder log;
  EXPECT_EQ(resources.GetResourcesFolder(), "");
  EXPECT_ANY_THROW(resources.FindSharedFolder("no-such-library"));
  EXPECT_THAT(log.lines, ElementsAre("error Resources Folder not yet defined",
                                     "error Resources Folder not yet defined"));
}

/// Loads a copy of a shared library that has the tools in it, and asks it where it believes to be.
std::vector<std::string> DescribeFrom(const std::string& library) {
  void* const handle = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw std::runtime_error(::dlerror());
  using Describe = void (*)(void (*emit)(const char*, void*), void*);
  std::vector<std::string> told;
  reinterpret_cast<Describe>(::dlsym(handle, "DescribeSurroundings"))(
      [](const char* text, void* user) { static_cast<std::vector<std::string>*>(user)->push_back(text); },
      &told);
#if !defined( \
    __SANITIZE_THREAD__)  // it runs the library's destructors at the program's end, wherever they are then
  ::dlclose(handle);
#endif
  return told;
}

TEST(Resources, WorkFromTheFileOfTheLibraryWhereverItIsCopied) {
  TempFolder tree;
  const std::string folder = tree / "a/b/Probe.bundle/Contents/MacOS";
  std::filesystem::create_directories(folder);
  std::filesystem::copy_file(PRISMEL_RESOURCES_PROBE, folder + "/Copy.so");
  const std::string found = tree.Write("a/b/Probe.bundle/Contents/Resources/probe.txt", "");
  EXPECT_THAT(DescribeFrom(folder + "/./Copy.so"),
              ElementsAre(folder + "/Copy.so", "Copy", folder + "/", folder + "/resources/", tree / "a/b/",
                          tree / "a/b/resources/", tree / "a/b/Probe.bundle/Contents/Resources/",
                          tree / "a/b/Probe.bundle/Contents/Resources/resources/", tree / "data/resources/",
                          "", tree / "a/b/Probe.bundle/data/resources/", "/opt/Vantora/Copy/",
                          "/opt/Vantora/Copy/resources/", found));

  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  EXPECT_EQ(DescribeFrom("./Copy.so")[0], folder + "/Copy.so");
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace Vantora
