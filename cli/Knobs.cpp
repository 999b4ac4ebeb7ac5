#include "cli/Knobs.h"

#include <algorithm>

#include "cli/Console.h"
#include "offline/ModuleKnobs.h"

namespace Vantora::cli {

void PrintKnobs(const offline::ModuleKnobs& knobs) {
  size_t name = 0, start = 0, range = 0;
  for (size_t i = 0; i < knobs.Size(); ++i) {
    name = std::max(name, knobs.Name(i).size());
    start = std::max(start, knobs.ValueText(i, knobs.Start(i)).size());
    range = std::max(range, knobs.RangeText(i).size());
  }
  Print("{:<{}}  {:<{}}  {:<{}}  {}\n", "NAME", name, "START", start, "RANGE", range, "USE");
  for (size_t i = 0; i < knobs.Size(); ++i) {
    Print("{:<{}}  {:<{}}  {:<{}}  {}\n", knobs.Name(i), name, knobs.ValueText(i, knobs.Start(i)), start,
          knobs.RangeText(i), range, knobs.Note(i).use);
  }
}

}  // namespace Vantora::cli
