// `prismel plot`: what the numbers say, what the files are, what is refused.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct Line {
  std::vector<double> x, y;

  /// y at the point nearest to `place`.
  double At(double place) const {
    size_t best = 0;
    for (size_t i = 0; i < x.size(); ++i) {
      if (std::abs(x[i] - place) < std::abs(x[best] - place)) best = i;
    }
    return y[best];
  }
  double PlaceOfHighest() const {
    return x[static_cast<size_t>(std::max_element(y.begin(), y.end()) - y.begin())];
  }
};

/// The lines of a plot's CSV by "panel/series".
std::map<std::string, Line> Lines(const std::string& csv) {
  std::map<std::string, Line> lines;
  std::istringstream text(csv);
  std::string row;
  std::getline(text, row);
  EXPECT_THAT(row, StartsWith("panel,series,"));
  while (std::getline(text, row)) {
    std::array<std::string, 4> cells;
    std::istringstream parts(row);
    for (std::string& cell : cells) std::getline(parts, cell, ',');
    if (cells[0] == "panel" || row.empty()) continue;
    Line& line = lines[cells[0] + '/' + cells[1]];
    line.x.push_back(std::stod(cells[2]));
    line.y.push_back(std::stod(cells[3]));
  }
  return lines;
}

class Plot : public testing::Test {
 protected:
  std::map<std::string, Line> Data(const std::string& arguments) {
    const Outcome outcome = workspace.Prismel("plot " + arguments + " --csv");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return Lines(outcome.out);
  }
  /// Refused in one sentence, with nothing left behind.
  void ExpectRefusal(const std::string& arguments, int status, const std::string& sentence) {
    const std::vector<std::string> before = workspace.Files();
    const Outcome outcome = workspace.Prismel("plot " + arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_THAT(outcome.err, HasSubstr(sentence)) << arguments;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(workspace.Files(), before);
  }

  Workspace workspace;
};

TEST_F(Plot, WritesPngAndSvgOfTheSizeAskedFor) {
  ASSERT_EQ(workspace.Prismel("plot curves -o c.png --size 640x480").status, 0);
  const std::string png = workspace.Files().empty() ? "" : ReadBytes(workspace / "c.png");
  ASSERT_GT(png.size(), 5000u);
  EXPECT_THAT(png, StartsWith("\x89PNG\r\n"));
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\x02\x80\0\0\x01\xe0", 8));  // width and height
  // A name and a title that gnuplot would read as more than text.
  const Outcome svg =
      workspace.Prismel(R"(plot curves -o "it's \"\$(x)\".svg" --title "a_{b} 'c' \`touch d\` \\n @e")");
  ASSERT_EQ(svg.status, 0) << svg.err;
  EXPECT_THAT(ReadBytes(workspace / "it's \"$(x)\".svg"), HasSubstr("a_{b} 'c' `touch d` \\n @e"));
  EXPECT_EQ(workspace.Files().size(), 2u);
}

TEST_F(Plot, DrawsFilesBeforeAndAfter) {
  WriteAudio(workspace / "tone.wav", MakeTone(2, 24000));
  for (const char* kind : {"waveform", "spectrogram"}) {
    const Outcome outcome =
        workspace.Prismel(fmt::format("plot {0} tone.wav -o {0}.png --set FXType=comb --tail 0.25", kind));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(ReadBytes(workspace / (std::string(kind) + ".png")), StartsWith("\x89PNG"));
  }
  // Without any wet sound both are the same; the picture ends where file and tail end.
  const auto lines = Data("waveform tone.wav --set Wet=0 --duration 0.05 --tail 0.01");
  ASSERT_EQ(lines.size(), 4u);
  const auto line = [&lines](const std::string& start) {
    for (const auto& [name, data] : lines) {
      if (name.starts_with(start)) return data;
    }
    return Line{};
  };
  EXPECT_EQ(line("Before left").x.size(), 2880u) << "48 kHz, 0.06 s";
  EXPECT_EQ(line("Before left").y, line("After left").y);
  EXPECT_EQ(line("Before right").y, line("After right").y);
}

TEST_F(Plot, MeasuresFiltersWhereTheyAreTuned) {
  const auto band = Data(
      "response --stage --set FXType=band-pass --set BandpassResonance=6 --each BandpassCutoff=300Hz,2000Hz");
  EXPECT_NEAR(band.at("/BandpassCutoff 300 Hz").PlaceOfHighest(), 300.0, 3.0);
  EXPECT_NEAR(band.at("/BandpassCutoff 2 kHz").PlaceOfHighest(), 2000.0, 20.0);

  const Line comb =
      Data("response --stage --set FXType=comb --set CombCutoff=500Hz --set CombResonance=20").at("/");
  EXPECT_GT(comb.At(1000.0) - comb.At(750.0), 6.0);
  EXPECT_GT(comb.At(1500.0) - comb.At(1250.0), 6.0);

  const Line flat = Data("response --stage --set FXType=off").at("/");
  for (const double hertz : {20.0, 1000.0, 20000.0}) EXPECT_NEAR(flat.At(hertz), 0.0, 0.05) << hertz;
}

TEST_F(Plot, ShowsTheHarmonicsOfADistortionAndNoneOfACopy) {
  const Line copy = Data("harmonics --frequency 1000 --level -6 --stage --set FXType=off").at("/");
  EXPECT_NEAR(*std::max_element(copy.y.begin(), copy.y.end()), -6.0, 0.9);  // between two bins
  EXPECT_LT(copy.At(3000.0), -110.0);
  const Line bent =
      Data("harmonics --frequency 1000 --level -6 --stage --set FXType=distortion --set DistortionDrive=18dB")
          .at("/");
  EXPECT_GT(bent.At(3000.0), -50.0);
}

TEST_F(Plot, DrawsTapsAndSpreadByTheirLaws) {
  // At rest the taps stand at their start phases, 2 ms deep; the first one at its least, a sample.
  const auto still = Data("taps --set Voices=8 --set Prismelion=0 --duration 1");
  ASSERT_EQ(still.size(), 16u);
  const auto delay = [&still](const char* voice) {
    const Line& line = still.at(std::string("Left side at Prismelion 0/") + voice);
    EXPECT_EQ(*std::min_element(line.y.begin(), line.y.end()),
              *std::max_element(line.y.begin(), line.y.end()));
    return line.y.front();
  };
  EXPECT_NEAR(delay("voice 1"), 1.0 / 48.0, 1e-4);
  EXPECT_NEAR(delay("voice 2"), 1.0, 1e-3);
  EXPECT_NEAR(delay("voice 3"), 1.0 + std::sqrt(0.5), 1e-3);
  const Line wide =
      Data("taps --set Voices=1 --set Prismelion=1 --duration 3").at("Left side at Prismelion 1/voice 1");
  EXPECT_NEAR(*std::max_element(wide.y.begin(), wide.y.end()), 16.5, 0.01);
  EXPECT_NEAR(wide.PlaceOfHighest(), 0.5 / 0.35, 0.02);
  const auto spread = Data("spread --set FXType=band-pass --set BandpassCutoff=200Hz");
  ASSERT_EQ(spread.size(), 16u);
  const Line& left8 = spread.at("BandpassCutoff 200 Hz/left 8");
  EXPECT_NEAR(left8.At(0.0), 200.0, 0.1);
  EXPECT_NEAR(left8.At(0.5), 200.0 * std::pow(1.82399, 1.25), 0.5);
  EXPECT_NEAR(left8.At(1.0), 200.0 * std::pow(1.82399, 5.0), 10.0);
  EXPECT_NEAR(spread.at("BandpassCutoff 200 Hz/right 8").At(0.5), 200.0 * std::pow(0.51203 * 1.0404041, 1.25),
              0.5);
  EXPECT_EQ(spread.at("BandpassCutoff 200 Hz/right 8").At(1.0), 20.0);  // the knob's own lower end
}

TEST_F(Plot, DrawsTheLfoAsItRuns) {
  const auto shapes = Data("lfo --set RateUnSynced=2Hz --duration 2");
  ASSERT_EQ(shapes.size(), 6u);
  const Line& sine = shapes.at("sine/");
  EXPECT_NEAR(sine.At(0.125), -sine.At(0.375), 0.02);
  EXPECT_NEAR(std::abs(sine.At(0.125)), 1.0, 0.02);
  EXPECT_NEAR(sine.At(1.125), sine.At(0.125), 0.02);
}

TEST_F(Plot, DrawsTheModulesBesideTheEffect) {
  const auto curves = Data("curves");
  ASSERT_EQ(curves.size(), 16u);
  EXPECT_EQ(curves.at("0  Hard Clip/").At(3.0), 1.0);
  EXPECT_EQ(curves.at("0  Hard Clip/").At(-0.5), -0.5);
  const auto sampler = Data("sampler --factor 2");
  EXPECT_LT(sampler.at("What is let through/kind 3: linear phase").At(40.0), -95.0);
  const auto plate = Data("plate --decays 0.5 --duration 1");
  EXPECT_EQ(plate.size(), 2u);
}

TEST_F(Plot, RefusesInOneSentenceAndLeavesNothing) {
  ExpectRefusal("curves", 2, "-o FILE.png");
  ExpectRefusal("curves -o c.gif", 2, ".png or .svg");
  ExpectRefusal("curves -o c.png --size 10x10", 2, "--size");
  ExpectRefusal("curves -o none/c.png", 1, "doesn't exist");
  ExpectRefusal("spectrum -o c.png", 2, "");
  ExpectRefusal("waveform none.wav -o c.png", 1, "none.wav");
  ExpectRefusal("response -o c.png --set FXType=flanger", 2, "FXType");
  ExpectRefusal("response -o c.png --each CombCutoff", 2, "NAME=VALUE");
  ExpectRefusal("spread -o c.png --set FXType=off", 2, "FXType");
  ExpectRefusal("plate --csv --decays 2", 2, "--decays");

  WriteBytes(workspace / "old.png", "mine");
  ExpectRefusal("curves -o old.png", 1, "-y overwrites it");
  EXPECT_EQ(ReadBytes(workspace / "old.png"), "mine");
  EXPECT_EQ(workspace.Prismel("plot curves -o old.png -y").status, 0);
  EXPECT_NE(ReadBytes(workspace / "old.png"), "mine");
}

TEST_F(Plot, NeedsGnuplotForPicturesOnly) {
  const Outcome refused = workspace.Shell("PATH=/nonexistent \"$PRISMEL\" plot curves -o c.png");
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("gnuplot"));
  EXPECT_THAT(workspace.Files(), IsEmpty());
  EXPECT_EQ(workspace.Shell("PATH=/nonexistent \"$PRISMEL\" plot curves --csv").status, 0);
  // One that fails half-way.
  WriteBytes(workspace / "gnuplot", "#!/bin/sh\necho half\necho 'out of ink' >&2\nexit 1\n");
  const Outcome broken =
      workspace.Shell("chmod +x gnuplot; PATH=$PWD:$PATH \"$PRISMEL\" plot curves -o c.png");
  EXPECT_EQ(broken.status, 1);
  EXPECT_THAT(broken.err, HasSubstr("couldn't draw this picture"));
  EXPECT_THAT(broken.err, Not(HasSubstr("out of ink")));
  EXPECT_THAT(workspace.Shell("PATH=$PWD:$PATH \"$PRISMEL\" plot curves -o c.png --log info").err,
              HasSubstr("out of ink"));
  EXPECT_THAT(workspace.Files(), ElementsAre("gnuplot"));
}

}  // namespace
}  // namespace Vantora::cli::tests
