// The VST3 module's exported symbols and its factory.

#include <cstdio>
#include <cstring>

#include "plugin/core/ProductNames.h"
#include "plugin/vst3/Vst3Plugin.h"

namespace {

using namespace Vantora::plugin;

// The effect's class, for ever.
constexpr v3_tuid kClassId = V3_ID(0x56414E54, 0x51465850, 0x5249534D, 0x454C0001);
constexpr char kCategory[] = "Audio Module Class";
constexpr char kSubCategories[] = "Fx|Modulation|Filter|Distortion|Stereo";
constexpr char kInterfaceVersion[] = "VST 3.7";

template <size_t kSize>
void Copy(char (&to)[kSize], const char* text) {
  std::snprintf(to, kSize, "%s", text);
}

template <size_t kSize>
void CopyWide(int16_t (&to)[kSize], const char* text) {
  v3_str_128 wide{};
  CopyText(wide, text);
  std::memcpy(to, wide, sizeof to);
  to[kSize - 1] = 0;
}

template <typename Info>
void FillCommon(Info& info) {
  info = {};
  std::memcpy(info.class_id, kClassId, sizeof kClassId);
  info.cardinality = 0x7fffffff;
  Copy(info.category, kCategory);
}

constexpr v3_plugin_factory_cpp kFactory = {
    {
        [](void* self, const v3_tuid iid, void** object) -> v3_result {
          const bool isOurs =
              v3_tuid_match(iid, v3_funknown_iid) || v3_tuid_match(iid, v3_plugin_factory_iid) ||
              v3_tuid_match(iid, v3_plugin_factory_2_iid) || v3_tuid_match(iid, v3_plugin_factory_3_iid);
          *object = isOurs ? self : nullptr;
          return isOurs ? V3_OK : V3_NO_INTERFACE;
        },
        [](void*) { return 1u; },  // lives as long as the module
        [](void*) { return 1u; },
    },
    {
        [](void*, v3_factory_info* info) -> v3_result {
          *info = {};
          Copy(info->vendor, kProductVendor);
          info->flags = 0x10;  // texts are UTF-16
          return V3_OK;
        },
        [](void*) { return 1; },
        [](void*, int32_t index, v3_class_info* info) -> v3_result {
          if (index != 0) return V3_INVALID_ARG;
          FillCommon(*info);
          Copy(info->name, kProductName);
          return V3_OK;
        },
        [](void*, const v3_tuid classId, const v3_tuid iid, void** object) -> v3_result {
          *object = nullptr;
          if (!v3_tuid_match(classId, kClassId)) return V3_NO_INTERFACE;
          try {
            auto* plugin = new Vst3Plugin;
            const v3_result result = plugin->QueryInterface(iid, object);
            plugin->Unref();
            return result;
          } catch (const std::exception&) {
            return V3_NOMEM;
          }
        },
    },
    {[](void*, int32_t index, v3_class_info_2* info) -> v3_result {
      if (index != 0) return V3_INVALID_ARG;
      FillCommon(*info);
      Copy(info->name, kProductName);
      Copy(info->sub_categories, kSubCategories);
      Copy(info->vendor, kProductVendor);
      Copy(info->version, kProductVersion);
      Copy(info->sdk_version, kInterfaceVersion);
      return V3_OK;
    }},
    {
        [](void*, int32_t index, v3_class_info_3* info) -> v3_result {
          if (index != 0) return V3_INVALID_ARG;
          FillCommon(*info);
          CopyWide(info->name, kProductName);
          Copy(info->sub_categories, kSubCategories);
          CopyWide(info->vendor, kProductVendor);
          CopyWide(info->version, kProductVersion);
          CopyWide(info->sdk_version, kInterfaceVersion);
          return V3_OK;
        },
        [](void*, v3_funknown**) -> v3_result { return V3_OK; },
    },
};

const v3_plugin_factory_cpp* const kFactoryTable = &kFactory;

}  // namespace

#ifdef _WIN32
#define PRISMEL_EXPORT extern "C" __declspec(dllexport)
PRISMEL_EXPORT bool InitDll() { return true; }
PRISMEL_EXPORT bool ExitDll() { return true; }
#else
#define PRISMEL_EXPORT extern "C" __attribute__((visibility("default")))
PRISMEL_EXPORT bool ModuleEntry(void*) { return true; }
PRISMEL_EXPORT bool ModuleExit() { return true; }
#endif

PRISMEL_EXPORT const void* GetPluginFactory() { return &kFactoryTable; }
