// A plug-in in a foreign program, as far as finding things goes.
#include <cstring>
#include <exception>

#include "host/loading/ProcessorLibrary.h"

/// Where this module finds the processor library, as a text of at most `size` - 1 characters; or why it
/// doesn't.
extern "C" __attribute__((visibility("default"))) void FindFromHere(char* text, size_t size) try {
  std::strncpy(text, Vantora::host::ProcessorLibrary::Find().c_str(), size - 1);
} catch (const std::exception& error) {
  std::strncpy(text, error.what(), size - 1);
}
