#pragma once

#include <functional>

#include "plugin/window/Button.h"
#include "plugin/window/Choice.h"
#include "plugin/window/Face.h"
#include "plugin/window/Meter.h"
#include "plugin/window/SecondChoice.h"
#include "plugin/window/TapView.h"
#include "plugin/window/WaveView.h"

namespace Vantora::plugin {

/// The controls of the face that change with the effect, or that more than one place speaks of. All belong
/// to the face's list of widgets.
struct Face::Parts {
  Knob *prismelion = nullptr, *primary = nullptr, *secondary = nullptr;
  ChordChoice* chord = nullptr;
  KindChoice* kind = nullptr;
  TapView* taps = nullptr;
  SpreadView* spread = nullptr;
  Knob *rate = nullptr, *toPrismelion = nullptr, *toPrimary = nullptr, *feedback = nullptr;
  WaveView* wave = nullptr;
  Meter *inMeter = nullptr, *outMeter = nullptr;
  Button* advancedButton = nullptr;
  std::function<void()> CopySettings, PasteSettings, SavePreset;
};

}  // namespace Vantora::plugin
