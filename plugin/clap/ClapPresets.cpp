// The factory presets for the host's own browser.

#include <cstring>

#include "host/ParameterTable.h"
#include "plugin/clap/ClapPlugin.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/ProductNames.h"

namespace Vantora::plugin {
namespace {

const ClapPresetProviderDescriptor kDescriptor = {CLAP_VERSION_INIT, "vantora.qfx-prismel.factory",
                                                  "Qfx PRISMEL factory presets", kProductVendor};

bool GetMetadata(const ClapPresetProvider*, uint32_t kind, const char*, const ClapPresetReceiver* receiver) {
  if (kind != kClapPresetInPlugin) return false;
  static const host::Parameter& effect = host::ParameterTable::Get().At("Prismel_FXType");
  const ClapUniversalPluginId id = {"clap", kClapId};
  for (const host::Preset& preset : FactoryPresets()) {
    if (!receiver->begin_preset(receiver, preset.name.c_str(), preset.name.c_str())) return true;
    receiver->add_plugin_id(receiver, &id);
    receiver->set_flags(receiver, kClapPresetIsFactory);
    receiver->add_creator(receiver, kProductVendor);
    receiver->set_description(receiver, preset.description.c_str());
    receiver->add_feature(receiver, effect.Text(preset.ValueOf(effect)).c_str());
  }
  return true;
}

const ClapPresetProvider* Create(const ClapPresetDiscoveryFactory*, const ClapPresetIndexer* indexer,
                                 const char* id) {
  if (std::strcmp(id, kDescriptor.id) != 0) return nullptr;
  return new ClapPresetProvider{
      &kDescriptor,
      const_cast<ClapPresetIndexer*>(indexer),
      [](const ClapPresetProvider* self) {
        const auto* to = static_cast<const ClapPresetIndexer*>(self->provider_data);
        const ClapPresetLocation location = {kClapPresetIsFactory, "Factory presets", kClapPresetInPlugin,
                                             nullptr};
        return to->declare_location(to, &location);
      },
      [](const ClapPresetProvider* self) { delete self; },
      GetMetadata,
      [](const ClapPresetProvider*, const char*) -> const void* { return nullptr; },
  };
}

}  // namespace

const ClapPresetDiscoveryFactory& PresetDiscovery() {
  static const ClapPresetDiscoveryFactory factory = {
      [](const ClapPresetDiscoveryFactory*) { return 1u; },
      [](const ClapPresetDiscoveryFactory*, uint32_t index) { return index == 0 ? &kDescriptor : nullptr; },
      Create,
  };
  return factory;
}

}  // namespace Vantora::plugin
