// A stranger's shell: the installed interface headers and nothing else of ours.
#include <dlfcn.h>

#include <cstdio>
#include <memory>

#include "processor/interface/IProcessorFactory.h"

int main() {
  void* library = dlopen(PROCESSOR, RTLD_NOW);
  if (library == nullptr) return std::puts(dlerror()), 1;
  auto entry = reinterpret_cast<decltype(&GetProcessorFactory)>(dlsym(library, "GetProcessorFactory"));
  const std::unique_ptr<Vantora::Processor::IProcessorFactory> factory(entry());
  const std::unique_ptr<Vantora::Processor::IProcessor_V7> processor(factory->CreateProcessor());
  processor->Attach(nullptr);
  std::printf("%s %s, %u parameters\n", factory->name, factory->version, processor->GetParameterCount());
  return processor->GetParameterCount() == 228 ? 0 : 1;
}
