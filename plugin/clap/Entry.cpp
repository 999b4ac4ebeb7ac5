// The CLAP file's one exported symbol.

#include <cstring>

#include "plugin/clap/ClapPlugin.h"
#include "plugin/core/ProductNames.h"

namespace {

using namespace Vantora::plugin;

const clap_plugin_factory_t kFactory = {
    [](const clap_plugin_factory*) { return 1u; },
    [](const clap_plugin_factory*, uint32_t index) {
      return index == 0 ? &ClapPlugin::Descriptor() : nullptr;
    },
    [](const clap_plugin_factory*, const clap_host_t* host, const char* id) -> const clap_plugin_t* {
      if (!clap_version_is_compatible(host->clap_version) || std::strcmp(id, kClapId) != 0) return nullptr;
      try {
        return (new ClapPlugin(host))->Interface();
      } catch (const std::exception&) {
        return nullptr;
      }
    },
};

}  // namespace

extern "C" CLAP_EXPORT const clap_plugin_entry_t clap_entry = {
    CLAP_VERSION_INIT,
    [](const char*) { return true; },
    [] {},
    [](const char* id) -> const void* {
      if (std::strcmp(id, CLAP_PLUGIN_FACTORY_ID) == 0) return &kFactory;
      if (std::strcmp(id, kClapPresetDiscoveryFactory) == 0 ||
          std::strcmp(id, kClapPresetDiscoveryFactoryDraft) == 0) {
        return &PresetDiscovery();
      }
      return nullptr;
    },
};
