#include "cli/CommandContext.h"

namespace Vantora::cli {

namespace fs = std::filesystem;

fs::path CommandContext::LibraryPath() const {
  return library.empty() ? host::ProcessorLibrary::Find() : fs::path(library);
}

}  // namespace Vantora::cli
