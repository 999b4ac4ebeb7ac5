// A shared library with the tools in it, to be copied about and asked what it finds around itself.

#include "tools/Resources.h"

extern "C" __attribute__((visibility("default"))) void DescribeSurroundings(void (*emit)(const char*, void*),
                                                                            void* user) {
  Vantora::Resources& resources = Vantora::Resources::Instance();
  emit(resources.LibraryPath().c_str(), user);
  emit(resources.ProductName().c_str(), user);
  for (const std::string& folder : resources.SearchFolders()) emit(folder.c_str(), user);
  std::string path;
  resources.FindFile("probe.txt", path, false, false);
  emit(path.c_str(), user);
}
