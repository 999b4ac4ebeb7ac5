#include "host/ProcessorSource.h"

#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "host/HostError.h"

namespace Vantora::host {
namespace {

/// The text of a fixed field, also when its terminator is missing.
template <size_t Size>
std::string FieldText(const char (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

}  // namespace

struct ProcessorSource::Shared {
  std::shared_ptr<const void> keepAlive;  // first in, last out: the factory's code lives in it
  std::shared_ptr<Processor::IProcessorFactory> factory;
  std::string origin, name, vendor, version;
  uint32_t interfaceVersion = 0;
};

ProcessorSource::ProcessorSource(std::shared_ptr<Processor::IProcessorFactory> factory,
                                 std::shared_ptr<const void> keepAlive, std::string origin) {
  auto made = std::make_shared<Shared>();
  made->keepAlive = std::move(keepAlive);
  made->factory = std::move(factory);
  made->origin = std::move(origin);
  if (made->factory == nullptr) {
    throw HostError((made->origin.empty() ? "The source of processors" : made->origin) + " gave no factory.");
  }
  made->name = FieldText(made->factory->name);
  made->vendor = FieldText(made->factory->vendor);
  made->version = FieldText(made->factory->version);
  if (made->origin.empty()) made->origin = "The processor \"" + made->name + '"';
  made->interfaceVersion = made->factory->GetInterfaceVersion();
  if (made->interfaceVersion != kInterfaceVersion) {
    throw HostError(made->origin + " speaks interface version " + std::to_string(made->interfaceVersion) +
                    ", but version " + std::to_string(kInterfaceVersion) + " is needed.");
  }
  shared = std::move(made);
}

const std::string& ProcessorSource::Name() const { return shared->name; }
const std::string& ProcessorSource::Vendor() const { return shared->vendor; }
const std::string& ProcessorSource::Version() const { return shared->version; }
uint32_t ProcessorSource::InterfaceVersion() const { return shared->interfaceVersion; }

Processor::IProcessor_V7* ProcessorSource::CreateProcessor() const {
  Processor::IProcessor_V7* processor = nullptr;
  try {
    processor = shared->factory->CreateProcessor();
  } catch (const std::bad_alloc&) {
    throw HostError(shared->origin + " failed to make a processor: there is not enough memory.");
  } catch (const std::exception& reason) {
    throw HostError(shared->origin + " failed to make a processor: " + reason.what() + '.');
  }
  if (processor == nullptr) throw HostError("There is not enough memory for a processor.");
  return processor;
}

}  // namespace Vantora::host
