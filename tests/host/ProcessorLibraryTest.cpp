#include "host/loading/ProcessorLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <optional>

#include "host/HostError.h"
#include "host/HostedProcessor.h"
#include "tests/host/FakeLibrary.h"
#include "tests/support/TempFolder.h"

namespace Vantora::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string LoadError(const std::filesystem::path& path) {
  try {
    const ProcessorLibrary library(path);
    const HostedProcessor processor(library);
  } catch (const HostError& error) {
    return error.what();
  }
  return "no error";
}

TEST(ProcessorLibrary, SaysInOneSentenceWhyALibraryCannotBeUsed) {
  const testsupport::TempFolder folder;
  const std::filesystem::path root(folder.Path());
  const auto text = root / "text.so";
  std::ofstream(text) << "not a library";

  EXPECT_THAT(LoadError(root / "missing.so"), HasSubstr("does not exist"));
  EXPECT_THAT(LoadError(root), HasSubstr("is a folder"));
  EXPECT_THAT(LoadError(text), HasSubstr("can't be loaded"));
  EXPECT_THAT(LoadError(FakePath("fake_no_entry")), HasSubstr("has no entry point GetProcessorFactory"));
  EXPECT_THAT(LoadError(FakePath("fake_version_6")),
              HasSubstr("speaks interface version 6, but version 7 is needed"));
  EXPECT_THAT(LoadError(FakePath("fake_null_factory")), HasSubstr("gave no factory"));
  EXPECT_THAT(LoadError(FakePath("fake_factory_throws")), HasSubstr("failed to make its factory"));
  EXPECT_THAT(LoadError(FakePath("fake_null_processor")), HasSubstr("not enough memory"));
  EXPECT_THAT(LoadError(FakePath("fake_processor_throws")), HasSubstr("failed to make a processor"));
  EXPECT_THAT(LoadError(FakePath("fake_attach_fails")), HasSubstr("refused to be attached"));
  EXPECT_EQ(LoadError(FakePath("good")), "no error");
}

TEST(ProcessorLibrary, ReadsTheFactoryTextsAlsoWithoutATerminator) {
  const ProcessorLibrary library(FakePath("good"));
  EXPECT_EQ(library.Name(), "Fake");
  EXPECT_EQ(library.Vendor(), "Test bench");
  EXPECT_EQ(library.Version(), std::string(256, 'x'));
  EXPECT_EQ(library.InterfaceVersion(), 7u);
}

TEST(ProcessorLibrary, StaysLoadedWhileAProcessorLives) {
  std::optional<ProcessorLibrary> library(FakePath("good"));
  {
    HostedProcessor processor(*library);
    library.reset();
    processor.Init(48000.0f);  // would crash in unmapped code
    EXPECT_EQ(processor.BlockSize(), 48u);
  }
  // Now it is gone for good: RTLD_NOLOAD finds only what is loaded.
  EXPECT_EQ(dlopen(FakePath("good").c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST(ProcessorLibrary, APrivateImageCountsItsProcessorsAnew) {
  const auto numberOf = [](const HostedProcessor& processor) { return *processor.Get(kFakeNumber) * 100.0f; };
  const ProcessorLibrary shared(FakePath("good"));
  const HostedProcessor first(shared), second(shared);
  EXPECT_NE(numberOf(first), numberOf(second));
  for (int image = 0; image < 3; ++image) {
    const ProcessorLibrary own(FakePath("good"), ProcessorLibrary::Image::kPrivate);
    const HostedProcessor processor(own);
    EXPECT_EQ(numberOf(processor), 1.0f);
  }
  // Also while others live, and where one that has gone left its place to the next.
  std::vector<std::unique_ptr<HostedProcessor>> living;
  for (int image = 0; image < 4; ++image) {
    living.push_back(std::make_unique<HostedProcessor>(
        ProcessorLibrary(FakePath("good"), ProcessorLibrary::Image::kPrivate)));
    EXPECT_EQ(numberOf(*living.back()), 1.0f) << image;
    if (image == 1) living.erase(living.begin());
  }
  EXPECT_THROW(ProcessorLibrary("/nowhere.so", ProcessorLibrary::Image::kPrivate), HostError);
}

TEST(ProcessorLibrary, TheEnvironmentNamesTheLibraryFirst) {
  ASSERT_EQ(setenv("PRISMEL_LIBRARY", "/some/where.so", 1), 0);
  EXPECT_EQ(ProcessorLibrary::Find(), "/some/where.so");
  unsetenv("PRISMEL_LIBRARY");
}

TEST(ProcessorLibrary, IsFoundBesideTheModuleThatAsks) {
  const testsupport::TempFolder folder;
  const std::string expected = folder.Write("plugins/libprismelProcessor.so", "");
  std::filesystem::copy_file(FIND_PROBE, folder / "plugins/probe.so");
  void* probe = dlopen((folder / "plugins/probe.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(probe, nullptr) << dlerror();
  char found[4096] = "";
  reinterpret_cast<void (*)(char*, size_t)>(dlsym(probe, "FindFromHere"))(found, sizeof found);
  EXPECT_EQ(found, expected);
  dlclose(probe);
}

TEST(ProcessorSource, RefusesWhatIsNoFactory) { EXPECT_THROW(ProcessorSource(nullptr), HostError); }

}  // namespace
}  // namespace Vantora::host
