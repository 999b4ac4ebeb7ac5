#include "plugin/window/PresetBar.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "plugin/window/Effects.h"
#include "plugin/window/Pictures.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr float kArrow = 36.0f;  // width of previous and next
constexpr float kCellHeight = 40.0f;
constexpr float kHead = 46.0f;  // of the chooser: search and hint

/// Number of the effect that a preset's `effect` names.
uint32_t EffectNumber(const std::string& name) {
  const std::vector<std::string>& labels = Named("FXType").Labels();
  const auto found = std::find(labels.begin(), labels.end(), name);
  return found == labels.end() ? 0 : static_cast<uint32_t>(found - labels.begin());
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

PresetBar::Part PresetBar::PartAt(Point at) const {
  if (!bounds.Contains(at)) return kNowhere;
  return at.x < bounds.x + kArrow ? kPrevious : at.x >= bounds.Right() - kArrow ? kNext : kName;
}

void PresetBar::Draw(Canvas& canvas) {
  canvas.Box(bounds, kRadius, isHovered && hovered == kName ? kHover : kPanel);
  for (const Part part : {kPrevious, kNext}) {
    const Rect place{part == kPrevious ? bounds.x : bounds.Right() - kArrow, bounds.y, kArrow, bounds.h};
    if (isHovered && hovered == part) canvas.Box(place, kRadius, kHover);
    DrawIcon(canvas, place.Centre(), part == kPrevious ? Icon::kPrevious : Icon::kNext,
             isHovered && hovered == part ? kText : kDim);
  }
  const WindowModel& model = desk.Model();
  std::string name = model.PresetName();
  if (name.empty()) name = "Unnamed sound";
  std::string description = "Click for all presets";
  if (const auto current = model.CurrentPreset()) description = model.Presets()[*current].description;
  if (model.IsModified()) name += " *";
  const float width = bounds.w - 2.0f * kArrow - 12.0f;
  canvas.TextWithin({bounds.Centre().x, bounds.y + 13.5f}, width, name,
                    {kTitle, kText, Align::kCentre, true});
  canvas.TextWithin({bounds.Centre().x, bounds.y + 30.5f}, width, description,
                    {kSmall, kDim, Align::kCentre});
  if (hasFocus) canvas.Frame(bounds.Inset(-2.0f, -2.0f), kRadius + 2.0f, kFocus, 1.5f);
}

void PresetBar::Step(int by) {
  WindowModel& model = desk.Model();
  const auto count = static_cast<int>(model.Presets().size());
  if (count == 0) return desk.Say("There are no presets.");
  const auto current = model.CurrentPreset();
  const int next = current ? (static_cast<int>(*current) + by + count) % count : by > 0 ? 0 : count - 1;
  desk.Say(model.LoadPreset(static_cast<size_t>(next)));
}

void PresetBar::OpenChooser() {
  desk.Model().RefreshPresets();
  auto chooser = std::make_unique<PresetChooser>(desk);
  chooser->bounds = {20.0f, bounds.Bottom() + 6.0f, 940.0f, 540.0f};
  desk.OpenPopup(std::move(chooser));
}

bool PresetBar::Press(const Pointer& pointer) {
  switch (PartAt(pointer.at)) {
    case kPrevious:
      Step(-1);
      break;
    case kNext:
      Step(1);
      break;
    default:
      OpenChooser();
      break;
  }
  return true;
}

void PresetBar::Hover(const Pointer& pointer) { hovered = PartAt(pointer.at); }

bool PresetBar::Wheel(const Pointer&, float steps) {
  Step(steps > 0.0f ? -1 : 1);
  return true;
}

bool PresetBar::Strike(const Stroke& stroke) {
  switch (stroke.key) {
    case Key::kLeft:
    case Key::kUp:
      Step(-1);
      return true;
    case Key::kRight:
    case Key::kDown:
      Step(1);
      return true;
    case Key::kEnter:
    case Key::kSpace:
      OpenChooser();
      return true;
    default:
      return false;
  }
}

std::string PresetBar::Tip(Point at) const {
  switch (PartAt(at)) {
    case kPrevious:
      return "Previous preset";
    case kNext:
      return "Next preset";
    default:
      if (const auto current = desk.Model().CurrentPreset()) {
        const PresetItem& item = desk.Model().Presets()[*current];
        if (!item.description.empty()) return item.name + "\n" + item.description + " Click for all presets.";
      }
      return "Presets\nClick for all of them, with what they sound like.";
  }
}

// ---- PresetChooser

PresetChooser::PresetChooser(Desk& theDesk) : Widget(theDesk) {
  Filter();
  if (const auto current = desk.Model().CurrentPreset()) chosen = static_cast<int>(*current);
}

void PresetChooser::Filter() {
  shown.clear();
  const auto& presets = desk.Model().Presets();
  known = presets.size();
  const std::string key = Lower(search);
  for (size_t i = 0; i < presets.size(); ++i) {
    const PresetItem& item = presets[i];
    if (onlyEffect >= 0 && static_cast<int>(EffectNumber(item.effect)) != onlyEffect) continue;
    if (Lower(item.name + " " + item.description + " " + item.effect).find(key) != std::string::npos)
      shown.push_back(i);
  }
  scroll = 0.0f;
  chosen = shown.empty() || search.empty() ? -1 : 0;
}

Rect PresetChooser::List() const {
  return {bounds.x + 8.0f, bounds.y + kHead, bounds.w - 16.0f, bounds.h - kHead - 8.0f};
}

Rect PresetChooser::ChipOf(int effect) const {
  return {bounds.Right() - 16.0f - 34.0f * static_cast<float>(6 - effect), bounds.y + 9.0f, 32.0f, 28.0f};
}

int PresetChooser::ChipAt(Point at) const {
  for (int i = 0; i < 6; ++i) {
    if (ChipOf(i).Contains(at)) return i;
  }
  return -1;
}

float PresetChooser::Height() const {
  return kCellHeight * std::ceil(static_cast<float>(shown.size()) * 0.5f);
}

Rect PresetChooser::CellOf(size_t row) const {
  // Down the first column, then down the second.
  const size_t rows = (shown.size() + 1) / 2;
  const Rect column = List().Column(row < rows ? 0 : 1, 2, 8.0f);
  return {column.x, column.y - scroll + kCellHeight * static_cast<float>(row % std::max<size_t>(rows, 1)),
          column.w, kCellHeight};
}

int PresetChooser::CellAt(Point at) const {
  if (!List().Contains(at)) return -1;
  for (size_t i = 0; i < shown.size(); ++i) {
    if (CellOf(i).Contains(at)) return static_cast<int>(i);
  }
  return -1;
}

void PresetChooser::Draw(Canvas& canvas) {
  canvas.Box({bounds.x + 1.0f, bounds.y + 3.0f, bounds.w, bounds.h}, kRadius, {0, 0, 0, 90});
  canvas.Box(bounds, kRadius, kPopup);
  canvas.Frame(bounds, kRadius, kLine);
  const float headY = bounds.y + 0.5f * kHead + 1.0f;
  canvas.Text({bounds.x + 20.0f, headY}, search.empty() ? "Presets" : "Presets with \"" + search + "\"",
              {kTitle, kText, Align::kLeft, true});
  canvas.Text({ChipOf(0).x - 16.0f, headY},
              search.empty() ? "type to search" : "Backspace to widen the search",
              {kSmall, kDim, Align::kRight});
  for (int i = 0; i < 6; ++i) {
    const Rect chip = ChipOf(i);
    if (i == onlyEffect || i == hoveredChip)
      canvas.Box(chip, kSmallRadius, i == onlyEffect ? kRaised : kLine);
    DrawEffectPicture(canvas, chip.Inset(6.0f, 6.0f), static_cast<uint32_t>(i),
                      i == onlyEffect ? kAccent : kDim);
  }
  const auto& presets = desk.Model().Presets();
  if (presets.size() != known) Filter();  // one was deleted
  const auto current = desk.Model().CurrentPreset();
  canvas.Clip(List());
  if (shown.empty()) {
    canvas.Text({bounds.Centre().x, List().y + 30.0f}, "There is none like that.",
                {kBody, kDim, Align::kCentre});
  }
  for (size_t row = 0; row < shown.size(); ++row) {
    const Rect cell = CellOf(row);
    if (cell.Bottom() < List().y || cell.y > List().Bottom()) continue;
    const PresetItem& item = presets[shown[row]];
    const bool isCurrent = current == shown[row];
    if (isCurrent || static_cast<int>(row) == chosen) {
      canvas.Box(cell.Inset(0.0f, 1.0f), kSmallRadius, static_cast<int>(row) == chosen ? kLine : kRaised);
    }
    DrawEffectPicture(canvas, {cell.x + 12.0f, cell.Centre().y - 8.0f, 20.0f, 16.0f},
                      EffectNumber(item.effect), isCurrent ? kAccent : kDim);
    const float x = cell.x + 44.0f, room = cell.w - 52.0f;
    canvas.TextWithin({x, cell.y + 13.5f}, room - (item.isFactory ? 0.0f : 40.0f), item.name,
                      {kValue, kText, Align::kLeft, true});
    if (!item.isFactory)
      canvas.Text({cell.Right() - 10.0f, cell.y + 13.5f}, "yours", {kSmall, kAccent, Align::kRight});
    canvas.TextWithin({x, cell.y + 28.5f}, room, item.description, {kSmall, kDim});
  }
  canvas.Unclip();
  if (Height() > List().h) {
    const float share = List().h / Height();
    canvas.Box({bounds.Right() - 6.0f, List().y + scroll * share, 3.0f, List().h * share}, 1.5f, kTick);
  }
}

void PresetChooser::Load(int row) {
  if (row < 0 || row >= static_cast<int>(shown.size())) return;
  desk.Say(desk.Model().LoadPreset(shown[static_cast<size_t>(row)]));
}

bool PresetChooser::Press(const Pointer& pointer) {
  if (const int chip = ChipAt(pointer.at); chip >= 0) {
    onlyEffect = chip == onlyEffect ? -1 : chip;
    Filter();
    return true;
  }
  const int row = CellAt(pointer.at);
  if (row < 0) return true;
  // The first click loads and lets compare; the second one is sure.
  if (pointer.clicks == 2) return desk.ClosePopup(), true;
  Load(row);
  return true;
}

bool PresetChooser::Menu(const Pointer& pointer) {
  const int row = CellAt(pointer.at);
  if (row < 0) return true;
  const size_t position = shown[static_cast<size_t>(row)];
  const PresetItem item = desk.Model().Presets()[position];
  Desk& face = desk;
  std::vector<MenuItem> items;
  items.push_back({item.name, nullptr, false, true, {}});
  items.push_back(
      {"Load", [&face, position] { face.Say(face.Model().LoadPreset(position)); }, false, true, {}});
  items.push_back({"Delete", [&face, position] { face.Say(face.Model().DeletePreset(position)); }, false,
                   !item.isFactory, item.isFactory ? "factory" : ""});
  desk.OpenMenu(pointer.at, std::move(items));
  return true;
}

void PresetChooser::Hover(const Pointer& pointer) {
  chosen = CellAt(pointer.at);
  hoveredChip = ChipAt(pointer.at);
}

bool PresetChooser::Wheel(const Pointer&, float steps) {
  scroll = std::clamp(scroll - steps * kCellHeight, 0.0f, std::max(Height() - List().h, 0.0f));
  return true;
}

void PresetChooser::KeepInSight() {
  const Rect cell = CellOf(static_cast<size_t>(chosen));
  if (cell.y < List().y) scroll -= List().y - cell.y;
  if (cell.Bottom() > List().Bottom()) scroll += cell.Bottom() - List().Bottom();
}

bool PresetChooser::Strike(const Stroke& stroke) {
  const auto count = static_cast<int>(shown.size());
  const auto rows = (count + 1) / 2;
  const auto step = [&](int by) {
    if (count == 0) return;
    chosen = chosen < 0 ? 0 : std::clamp(chosen + by, 0, count - 1);
    KeepInSight();
    Load(chosen);
  };
  switch (stroke.key) {
    case Key::kUp:
      step(-1);
      return true;
    case Key::kDown:
      step(1);
      return true;
    case Key::kLeft:
      step(-rows);
      return true;
    case Key::kRight:
      step(rows);
      return true;
    case Key::kEnter:
      if (!search.empty() && chosen >= 0) Load(chosen);
      desk.ClosePopup();
      return true;
    case Key::kBackspace:
      while (!search.empty() && (static_cast<unsigned char>(search.back()) & 0xc0u) == 0x80u)
        search.pop_back();
      if (!search.empty()) search.pop_back();
      Filter();
      return true;
    default:
      return false;
  }
}

bool PresetChooser::Type(std::string_view text) {
  if (text == " " && search.empty()) return true;
  search += text;
  Filter();
  return true;
}

uint64_t PresetChooser::Picture() const {
  return static_cast<uint64_t>(chosen + 1) + static_cast<uint64_t>(scroll) * 64 +
         static_cast<uint64_t>(onlyEffect * 7 + hoveredChip + 8) * 4096 + std::hash<std::string>()(search);
}

}  // namespace Vantora::plugin
