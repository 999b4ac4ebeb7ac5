#include "plugin/window/AdvancedView.h"

#include <algorithm>

#include "plugin/window/Button.h"
#include "plugin/window/Effects.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr uint32_t kCrusher = 3, kDistortion = 4, kHarmonizer = 5;
constexpr int kColumns = 6;
constexpr float kCellHeight = 84.0f;

}  // namespace

AdvancedView::AdvancedView(Desk& theDesk) : desk(theDesk) {
  for (const Side which : {Side::kBoth, Side::kLeft, Side::kRight}) {
    auto button =
        std::make_unique<Button>(desk,
                                 which == Side::kBoth   ? "Both"
                                 : which == Side::kLeft ? "Left"
                                                        : "Right",
                                 which == Side::kBoth ? "Move the left and the right voices together"
                                                      : "Move the voices of this side alone",
                                 [this, which] { TakeSide(which); });
    button->isOn = [this, which] { return side == which; };
    button->hasFrame = true;
    sideButtons.push_back(button.get());
    controls.push_back(std::move(button));
  }
  Add(kCrusher, "BitCrusher_Wet", "Crushed", true);
  Add(kCrusher, "BitCrusher_InGainCompensated", "Gain into", true, true);
  Add(kCrusher, "BitCrusher_Mode", "Between", true);
  Add(kCrusher, "BitCrusher_Aliasing", "Aliasing", true);
  Add(kCrusher, "BitCrusher_Jitter", "Jitter", true);
  Add(kCrusher, "BitCrusher_JitterRate", "Jitter rate", true);
  Add(kCrusher, "BitCrusher_JitterMode", "Jitter kind", true);
  Add(kCrusher, "BitCrusher_Scale", "Word curve", true);
  Add(kDistortion, "Disto_Wavefolder_Wet", "Folded", true);
  Add(kDistortion, "Disto_Wavefolder_Type", "Fold", true);
  Add(kDistortion, "Disto_Wavefolder_OutputGain", "Fold gain", true, true);
  Add(kDistortion, "Disto_Wavefolder_AutoComp", "Fold level", true);
  Add(kDistortion, "Disto_Wavefolder_Upsmp", "Twice the rate", true);
  Add(kDistortion, "Disto_Wavefolder_AntiAl", "Anti-alias", true);
  Add(kDistortion, "Disto_ShapingDist_OutputGain", "Shape gain", true, true);
  Add(kDistortion, "Disto_ShapingDist_AutoComp", "Shape level", true);
  Add(kHarmonizer, "Harmonizer_PreDelay", "Pre-delay", true);
  Add(kLfo, "LFO_Mode", "Runs", false);
  Add(kLfo, "LFO_Amp", "Depth", false);
  Add(kLfo, "LFO_Unipolar", "Unipolar", false);
  Add(kLfo, "LFO_Fade", "Fade-in", false);
  Add(kLfo, "LFO_GateIn", "Restart", false);
  Add(kLfo, "LFO_SppHardFollow", "Hard follow", false);
}

void AdvancedView::Add(uint32_t ofEffect, const char* parameter, const char* name, bool hasSides,
                       bool isBipolar) {
  const std::string left = hasSides ? std::string("Prismel_FXL_FX_") + parameter : parameter;
  const std::string right = hasSides ? std::string("Prismel_FXR_FX_") + parameter : parameter;
  Entry entry{ofEffect, Named(left).Index(), Named(right).Index(), nullptr};
  auto knob =
      std::make_unique<Knob>(desk, ParameterList{entry.left}, Knob::Look{38.0f, name, isBipolar, false});
  entry.knob = knob.get();
  controls.push_back(std::move(knob));
  entries.push_back(entry);
}

void AdvancedView::TakeSide(Side which) { side = which; }

void AdvancedView::Arrange(Rect where, bool isOpen) {
  place = where;
  effect = CurrentEffectNumber(desk.Model());
  for (const auto& control : controls) control->isVisible = false;
  if (!isOpen) return;
  const float columnWidth = place.w / static_cast<float>(kColumns);
  effectCount = static_cast<size_t>(std::count_if(
      entries.begin(), entries.end(), [&](const Entry& entry) { return entry.effect == effect; }));
  const size_t rows = std::max<size_t>((effectCount + kColumns - 1) / kColumns, 1);
  const float effectY = place.y + 34.0f;
  lfoY = effectY + static_cast<float>(rows) * kCellHeight + 10.0f;
  for (size_t i = 0; i < sideButtons.size(); ++i) {
    sideButtons[i]->isVisible = effectCount > 0;
    sideButtons[i]->bounds = {place.Right() - 156.0f + 53.0f * static_cast<float>(i), place.y - 2.0f, 50.0f,
                              kTarget};
  }
  size_t inEffect = 0, inLfo = 0;
  for (const Entry& entry : entries) {
    if (entry.effect != effect && entry.effect != kLfo) continue;
    size_t& number = entry.effect == kLfo ? inLfo : inEffect;
    const float y = entry.effect == kLfo ? lfoY + 26.0f : effectY;
    entry.knob->bounds = {place.x + columnWidth * static_cast<float>(number % kColumns) + 4.0f,
                          y + kCellHeight * static_cast<float>(number / kColumns), columnWidth - 8.0f,
                          kCellHeight - 6.0f};
    entry.knob->isVisible = true;
    entry.knob->parameters = side == Side::kRight ? ParameterList{entry.right}
                             : side == Side::kLeft || entry.left == entry.right
                                 ? ParameterList{entry.left}
                                 : ParameterList{entry.left, entry.right};
    ++number;
  }
}

void AdvancedView::Draw(Canvas& canvas) const {
  const EffectInfo& info = Effects()[effect];
  canvas.Text({place.x + 4.0f, place.y + 10.0f}, info.name, {kTitle, kText, Align::kLeft, true});
  if (effectCount == 0) {
    canvas.Text(
        {place.x + 4.0f, place.y + 40.0f},
        effect == 0 ? "Nothing more to set without an effect." : "Nothing more to set for this effect.",
        {kBody, kDim});
  }
  canvas.Line({place.x, lfoY - 6.0f}, {place.Right(), lfoY - 6.0f}, 1.0f, kLine);
  canvas.Text({place.x + 4.0f, lfoY + 10.0f}, "LFO", {kTitle, kText, Align::kLeft, true});
}

}  // namespace Vantora::plugin
