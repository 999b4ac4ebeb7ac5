#include "tools/SndFileLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"
#include "tests/tools/CapturedOutput.h"
#include "tools/CLog.h"
#include "tools/LibraryInfo.h"
#include "tools/Resources.h"
#include "tools/SndFileHandle.h"

namespace Vantora {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::CapturedOutput;
using testsupport::TempFolder;

// Our records against those of the header that the library is published with.
static_assert(sizeof(SndFileInfo) == sizeof(SF_INFO) &&
              offsetof(SndFileInfo, sampleRate) == offsetof(SF_INFO, samplerate) &&
              offsetof(SndFileInfo, channels) == offsetof(SF_INFO, channels) &&
              offsetof(SndFileInfo, format) == offsetof(SF_INFO, format) &&
              offsetof(SndFileInfo, seekable) == offsetof(SF_INFO, seekable));
static_assert(sizeof(SndFileVirtualIO) == sizeof(SF_VIRTUAL_IO) &&
              offsetof(SndFileVirtualIO, read) == offsetof(SF_VIRTUAL_IO, read) &&
              offsetof(SndFileVirtualIO, tell) == offsetof(SF_VIRTUAL_IO, tell));
static_assert(sizeof(SndFileChunkInfo) == sizeof(SF_CHUNK_INFO) &&
              offsetof(SndFileChunkInfo, idSize) == offsetof(SF_CHUNK_INFO, id_size) &&
              offsetof(SndFileChunkInfo, dataLength) == offsetof(SF_CHUNK_INFO, datalen) &&
              offsetof(SndFileChunkInfo, data) == offsetof(SF_CHUNK_INFO, data));
static_assert(int{kSndFileRead} == SFM_READ && int{kSndFileWrite} == SFM_WRITE &&
              int{kSndFileGetVersion} == SFC_GET_LIB_VERSION);

/// What opening fails with.
std::string FailureOf(const std::function<void()>& open) {
  try {
    open();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no failure";
}

class SndFileTest : public testing::Test {
 protected:
  ~SndFileTest() override { SndFileLibrary::SetFallbackName("libsndfile.so.1"); }

  TempFolder tree;
  Resources resources{tree / "1/2/3/lib.so"};  // the root is 1
  const std::string shared = "1/Shared/libsndfile-2.so";
};

TEST_F(SndFileTest, OpensTheFamilysCopyFirstAndServesWithoutTheChunkFunctions) {
  std::filesystem::create_directories(tree / "1/Shared");
  std::filesystem::copy_file(PRISMEL_FAKE_SNDFILE, tree / shared);
  const SndFileLibrary library(resources);
  EXPECT_EQ(library.LoadedPath(), tree / shared);
  EXPECT_EQ(library.Version(), "fake-1.0");
  SndFileInfo info;
  const SndFileHandle file(library.sf_open("x.wav", kSndFileRead, &info), library);
  std::vector<float> samples(3, 1.0f);
  EXPECT_EQ(library.sf_readf_float(file.Get(), samples.data(), 3), 3);
  EXPECT_THAT(samples, testing::Each(0.0f));
  EXPECT_FALSE(library.sf_get_chunk_size);
  SndFileChunkInfo chunk;
  EXPECT_THROW(library.sf_get_chunk_size(nullptr, &chunk), std::bad_function_call);
}

TEST_F(SndFileTest, HidesABrokenCopyBehindNothing) {
  const auto open = [this] { SndFileLibrary library(resources); };
  const std::string path = tree.Write(shared, "this is no library");
  EXPECT_THAT(FailureOf(open),
              StartsWith("ERROR : unable to load libsndfile at " + path + ": " + path + ": "));
  tree.Write(shared, "");
  EXPECT_THAT(FailureOf(open), StartsWith("ERROR : unable to load libsndfile at " + path + ": "));
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_THAT(FailureOf(open), HasSubstr("directory"));
  std::filesystem::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_THAT(FailureOf(open), HasSubstr("not a regular file"));

  const LibraryInfo info = DescribeLibrary(resources.LibraryPath());
  EXPECT_EQ(info.sndFileError, FailureOf(open));
}

TEST_F(SndFileTest, FailsEachTimeWhereThereIsNoneAndSaysWhatToInstall) {
  SndFileLibrary::SetFallbackName("");
  const auto open = [this] { SndFileLibrary library(resources); };
  EXPECT_EQ(FailureOf(open), "ERROR : unable to find libsndfile-2 folder");
  SndFileLibrary::SetFallbackName("no-such-library.so.1");
  EXPECT_EQ(FailureOf(open), "ERROR : unable to find libsndfile-2 folder");

  const LibraryInfo info = DescribeLibrary(resources.LibraryPath());
  EXPECT_EQ(info.sndFilePath, "");
  EXPECT_THAT(info.sndFileError, HasSubstr("install the package libsndfile1"));
  EXPECT_EQ(info.sndFilePlaces.size(), 5u);
  EXPECT_EQ(info.searchFolders.size(), 11u);
  EXPECT_TRUE(info.searchFolders[7].exists);  // the current folder
  EXPECT_FALSE(info.searchFolders[1].exists);
}

TEST_F(SndFileTest, ReadsAFileOfTheDistributionsLibraryAndLogsIt) {
  struct Lines : LogListener {
    void OnLogLine(const std::string& line) override { heard += line; }
    std::string heard;
  } lines;
  const SndFileLibrary& library = SndFileLibrary::Instance();
  EXPECT_THAT(library.LoadedPath(), HasSubstr("/libsndfile.so.1"));
  EXPECT_THAT(library.Version(), StartsWith("libsndfile-"));

  const std::string path = tree / "ramp.wav";
  const std::vector<float> written = {0.0f, 0.25f, -0.5f, 1.0f};
  SndFileInfo info;
  info.sampleRate = 44100;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SndFileHandle file(library.sf_open(path.c_str(), kSndFileWrite, &info), library);
  ASSERT_TRUE(file.IsOpen()) << library.sf_strerror(nullptr);
  EXPECT_EQ(library.sf_writef_float(file.Get(), written.data(), 2), 2);

  CapturedOutput output;
  CLog::Instance().ApplyConfiguration({.categories = {{"audio_engine", kLogNotice}}, .logInRelease = true});
  CLog::Instance().SetListener(&lines);
  file = SndFileHandle::OpenForReading("no such file", info);  // closes what was written
  EXPECT_FALSE(file.IsOpen());
  file = SndFileHandle::OpenForReading(path, info);
  CLog::Instance().SetListener(nullptr);
  CLog::Instance().ApplyConfiguration({});

  ASSERT_TRUE(file.IsOpen());
  EXPECT_EQ(info.frames, 2);
  EXPECT_EQ(info.sampleRate, 44100);
  EXPECT_EQ(info.channels, 2);
  std::vector<float> read(4);
  EXPECT_EQ(library.sf_readf_float(file.Get(), read.data(), 2), 2);
  EXPECT_EQ(read, written);
  EXPECT_THAT(lines.heard, testing::EndsWith("| notice  | libsndfile: Opened sample file " + path + "\n"));
  EXPECT_EQ(lines.heard.find("no such file"), std::string::npos);
}

TEST_F(SndFileTest, ClosesOnceAndLogsAFailure) {
  const SndFileLibrary library(std::string(PRISMEL_FAKE_SNDFILE));
  CapturedOutput output;
  CLog::Instance().ApplyConfiguration({.logInRelease = true});
  {
    SndFileHandle good(library.sf_open("good", kSndFileRead, nullptr), library);
    SndFileHandle stuck(library.sf_open("stuck", kSndFileRead, nullptr), library);
    output.Take();
    stuck.Close();
    EXPECT_FALSE(stuck.IsOpen());
    EXPECT_THAT(output.Take(), HasSubstr("| error   | libsndfile: error while closing sample file\n"));
    stuck = std::move(good);
  }
  EXPECT_EQ(output.Take(), "");
  CLog::Instance().ApplyConfiguration({});
}

TEST(DynamicLibrary, ExplainsEveryFailure) {
  DynamicLibrary library;
  EXPECT_FALSE(library.Load("/x.bundle", true));
  EXPECT_EQ(library.Error(), "bundles are not supported on this platform");
  EXPECT_EQ(library.GetFunction("sf_open", true), nullptr);
  ASSERT_TRUE(library.Load(PRISMEL_FAKE_SNDFILE, false));
  EXPECT_NE(library.GetFunction("sf_open", true), nullptr);
  EXPECT_EQ(library.GetFunction("sf_seek", true), nullptr);
  EXPECT_THAT(library.Error(), HasSubstr("sf_seek"));
  EXPECT_FALSE(library.Load("/no/such/library.so", false));
  EXPECT_FALSE(library.IsLoaded());
  ASSERT_TRUE(library.Load(nullptr, false));  // the program itself
  EXPECT_NE(library.GetFunction("malloc", false), nullptr);
}

}  // namespace
}  // namespace Vantora
