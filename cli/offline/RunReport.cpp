#include "cli/offline/RunReport.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/Failure.h"
#include "host/HostError.h"
#include "host/files/NewFile.h"

namespace Vantora::cli {
namespace {

using Json = nlohmann::ordered_json;

/// JSON has no infinity: silence has no level.
Json Level(double decibels) {
  return std::isfinite(decibels) ? Json(std::round(decibels * 1000.0) / 1000.0) : Json(nullptr);
}

void AddDigest(Json& entry, const char* key, const std::array<char, 65>& digest) {
  if (digest[0] != 0) entry[key] = digest.data();
}

Json Entry(const FilePair& pair, const JobReport& report) {
  Json entry = {{"input", pair.input}, {"output", pair.output}, {"done", report.finished}};
  if (pair.seed) entry["seed"] = *pair.seed;
  if (!report.finished) {
    entry["failure"] = report.failure.data();
    return entry;
  }
  entry["rate"] = report.rate;
  entry["inputChannels"] = report.inputChannels;
  entry["outputChannels"] = report.outputChannels;
  entry["inputSeconds"] = report.inputSeconds;
  entry["outputSeconds"] = report.outputSeconds;
  if (report.measured) {
    entry["inputPeakDbfs"] = Level(report.inputPeak);
    entry["outputPeakDbfs"] = Level(report.outputPeak);
    entry["inputLufs"] = Level(report.inputLufs);
    entry["outputLufs"] = Level(report.outputLufs);
  }
  entry["clippedSamples"] = report.clipped;
  entry["replacedInputSamples"] = report.nonFinite;
  entry["replacedOutputSamples"] = report.lost;
  entry["limitedSeconds"] = report.limitedSeconds;
  entry["tailCut"] = report.tailCut;
  AddDigest(entry, "inputSha256", report.inputDigest);
  AddDigest(entry, "outputSha256", report.outputDigest);
  return entry;
}

}  // namespace

std::string DigestFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> digest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  if (!file) throw Failure(fmt::format("{}: {}", path, std::strerror(errno)));
  // The library's calls fail for want of memory only.
  const auto check = [&](bool isDone) {
    if (!isDone) throw Failure(fmt::format("{}: there isn't enough memory for its SHA-256", path));
  };
  check(digest != nullptr && EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1);
  std::array<unsigned char, 65536> piece;
  while (const size_t count = std::fread(piece.data(), 1, piece.size(), file.get())) {
    check(EVP_DigestUpdate(digest.get(), piece.data(), count) == 1);
  }
  if (std::ferror(file.get()) != 0) throw Failure(fmt::format("{}: can't be read again", path));
  std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
  unsigned size = 0;
  check(EVP_DigestFinal_ex(digest.get(), value.data(), &size) == 1);
  std::string text;
  for (unsigned i = 0; i < size; ++i) text += fmt::format("{:02x}", value[i]);
  return text;
}

void CheckRunReport(const std::string& path) try {
  const host::NewFile place(path, true);  // gone again with this
} catch (const host::HostError& problem) {
  throw Failure(fmt::format("--report: {}", problem.what()));
}

void WriteRunReport(const std::string& path, const std::vector<std::pair<std::string, std::string>>& about,
                    const std::vector<FilePair>& pairs, const JobPool& pool,
                    const std::vector<FilePair>& skipped) {
  Json document;
  for (const auto& [name, value] : about) document[name] = value;
  Json& files = document["files"] = Json::array();
  for (size_t i = 0; i < pairs.size(); ++i) files.push_back(Entry(pairs[i], pool.Report(i)));
  for (const FilePair& pair : skipped) {
    files.push_back({{"input", pair.input}, {"output", pair.output}, {"done", true}, {"skipped", true}});
  }
  try {
    host::NewFile file(path, true);
    file.Write(document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
    file.Commit();
  } catch (const host::HostError& problem) {
    throw Failure(fmt::format("--report: {}", problem.what()));
  }
}

}  // namespace Vantora::cli
