#pragma once

namespace Vantora::offline {
class ModuleKnobs;
}

namespace Vantora::cli {

/// Prints name, start value, range and use of every parameter of a module, in columns.
void PrintKnobs(const offline::ModuleKnobs& knobs);

}  // namespace Vantora::cli
