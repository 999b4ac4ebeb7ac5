// Every line of bad-inputs.txt gets the answer that stands there: the exit status, one line that says what
// was wrong, and nothing printed, written or changed.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "plugin/core/State.h"
#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

namespace fs = std::filesystem;

/// \n, \t, \xHH and \\, then {N*TEXT}.
std::string Unescaped(const std::string& text) {
  if (text.starts_with('{') && text.ends_with('}')) {
    const size_t star = text.find('*');
    const std::string number = text.substr(1, star == std::string::npos ? 0 : star - 1);
    if (!number.empty() && number.find_first_not_of("0123456789") == std::string::npos) {
      std::string repeated;
      const std::string piece = text.substr(star + 1, text.size() - star - 2);
      for (int i = std::stoi(number); i > 0; --i) repeated += piece;
      return repeated;
    }
  }
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char kind = text[++i];
    if (kind == 'x') {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
    }
  }
  return out;
}

std::string Little(uint32_t value, size_t bytes) {
  std::string text;
  for (size_t i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
  return text;
}

/// A WAV file, right or wrong.
std::string Wav(uint32_t channels, uint32_t rate, uint32_t bits, uint32_t kind, const std::string& samples) {
  const uint32_t frame = channels * bits / 8;
  return "RIFF" + Little(36 + static_cast<uint32_t>(samples.size()), 4) + "WAVEfmt " + Little(16, 4) +
         Little(kind, 2) + Little(channels, 2) + Little(rate, 4) + Little(rate * frame, 4) +
         Little(frame, 2) + Little(bits, 2) + "data" + Little(static_cast<uint32_t>(samples.size()), 4) +
         samples;
}

void MakeFiles(const Workspace& here) {
  const auto write = [&here](const std::string& name, const std::string& bytes) {
    WriteBytes(here / name, bytes);
  };
  const std::string silence(64, '\0');
  WriteAudio(here / "in.wav", MakeTone(2, 480));
  for (const std::string kind : {"flac", "ogg", "aiff"}) {
    ASSERT_EQ(here.Prismel("render -qy --tail 0 in.wav x." + kind).status, 0);
    const std::string bytes = ReadBytes(here / ("x." + kind));
    write("bad-" + kind + "cut.wav", bytes.substr(0, bytes.size() / 2));
    fs::remove(here / ("x." + kind));
  }
  write("bad-empty.wav", "");
  write("bad-text.wav", "This is no sound, this is no sound, this is no sound.\n");
  write("bad-header.wav", Wav(2, 48000, 16, 1, silence).substr(0, 44));
  write("bad-cutheader.wav", Wav(2, 48000, 16, 1, silence).substr(0, 30));
  write("bad-nochannels.wav", Wav(0, 48000, 16, 1, silence));
  write("bad-norate.wav", Wav(2, 0, 16, 1, silence));
  write("bad-manychannels.wav", Wav(65535, 48000, 16, 1, silence));
  write("bad-hugechannels.wav", Wav(2000, 48000, 16, 1, silence));
  write("bad-nodata.wav", Wav(2, 48000, 16, 1, ""));
  write("bad-zerobits.wav", Wav(2, 48000, 0, 1, silence));
  write("bad-riffonly.wav", "RIFF\xff\xff\xff\xffWAVE");
  write("bad-slow.wav", Wav(2, 10, 16, 1, silence));
  write("bad-three.wav", Wav(3, 48000, 16, 1, std::string(96, '\0')));
  write("bad-nan.wav", Wav(1, 48000, 32, 3, silence + Little(0x7fc00000u, 4)));
  for (const char* name : {"old.wav", "old.json", "old.png"}) write(name, "old");
  ASSERT_EQ(mkfifo((here / "pipe").c_str(), 0600), 0);
  fs::create_directory(here / "out");
}

/// Names, sizes and times of all files.
std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> Look(const Workspace& here) {
  std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> files;
  for (const auto& entry : fs::recursive_directory_iterator(here.Folder())) {
    const bool isFile = entry.is_regular_file();
    files[entry.path().string()] = {isFile ? entry.file_size() : 0,
                                    isFile ? entry.last_write_time() : fs::file_time_type()};
  }
  return files;
}

std::string RefusalOfState(const std::string& text) {
  try {
    static_cast<void>(plugin::State::Parse(text));
  } catch (const host::HostError& refused) {
    return refused.what();
  }
  return "taken";
}

TEST(BadInput, GetsTheAnswerThatIsWanted) {
  const Workspace here;
  MakeFiles(here);
  if (HasFatalFailure()) return;
  setenv("HOME", here.Folder().c_str(), 1);
  setenv("PRISMEL_PRESETS", PRISMEL_SOURCE_DIR "/presets", 1);
  std::ifstream table(PRISMEL_SOURCE_DIR "/tests/faults/bad-inputs.txt");
  ASSERT_TRUE(table);
  int cases = 0;
  std::string given;
  for (std::string line; std::getline(table, line);) {
    if (line.empty() || line.starts_with('#')) continue;
    if (line.starts_with("file ")) {
      const size_t name = line.find(' ', 5);
      given = line.substr(name + 1);
      WriteBytes(here / line.substr(5, name - 5), Unescaped(given));
      continue;
    }
    ++cases;
    const size_t first = line.find(" | "), second = line.find(" | ", first + 2);
    ASSERT_NE(second, std::string::npos) << line;
    const std::string kind = line.substr(0, first), rest = line.substr(second + 3);
    const std::string sentence = second > first + 3 ? line.substr(first + 3, second - first - 3) : "";
    if (kind == "state") {
      EXPECT_NE(RefusalOfState(Unescaped(rest)).find(sentence), std::string::npos) << line;
      continue;
    }
    const auto before = Look(here);
    const Outcome outcome = here.Prismel(rest);
    const std::string place =
        line.substr(0, 200) + "\n with " + given.substr(0, 100) + "\n says " + outcome.err;
    EXPECT_EQ(std::to_string(outcome.status), kind) << place;
    EXPECT_TRUE(outcome.err.starts_with("prismel: ") && outcome.err.find(sentence) != std::string::npos)
        << place;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << place;
    EXPECT_TRUE(outcome.err.ends_with('\n') && outcome.err.size() < 1500) << place;
    EXPECT_EQ(outcome.out, "") << place;
    EXPECT_TRUE(Look(here) == before) << place;
  }
  std::printf("%d cases of bad input\n", cases);
  EXPECT_GE(cases, 250);
}

}  // namespace
}  // namespace Vantora::cli::tests
