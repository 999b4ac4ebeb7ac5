#include "plugin/window/Fonts.h"

#include <nanovg/nanovg.h>

// The fonts are taken from their package when this is built, as they are.
#if defined(_WIN32)
#define PRISMEL_CONSTANTS ".section .rdata,\"dr\"\n"
#else
#define PRISMEL_CONSTANTS ".section .rodata\n"
#endif
#define PRISMEL_EMBED(symbol, path)                                                                \
  asm(PRISMEL_CONSTANTS ".balign 16\n.global " #symbol "Begin\n.hidden " #symbol "Begin\n" #symbol \
                        "Begin:\n.incbin \"" path "\"\n.global " #symbol "End\n.hidden " #symbol   \
                        "End\n" #symbol "End:\n.byte 0\n.text\n");                                 \
  extern "C" __attribute__((visibility("hidden"))) const unsigned char symbol##Begin[], symbol##End[]
#if defined(_WIN32)
#undef PRISMEL_EMBED
#define PRISMEL_EMBED(symbol, path)                                                                \
  asm(PRISMEL_CONSTANTS ".balign 16\n.global " #symbol "Begin\n" #symbol "Begin:\n.incbin \"" path \
                        "\"\n.global " #symbol "End\n" #symbol "End:\n.byte 0\n.text\n");          \
  extern "C" const unsigned char symbol##Begin[], symbol##End[]
#endif

PRISMEL_EMBED(prismelRegularFont, PRISMEL_FONT_REGULAR);
PRISMEL_EMBED(prismelStrongFont, PRISMEL_FONT_STRONG);

namespace Vantora::plugin {
namespace {

int Load(NVGcontext* context, const char* name, const unsigned char* begin, const unsigned char* end) {
  // The library reads only, but says so nowhere in its types.
  return nvgCreateFontMem(context, name, const_cast<unsigned char*>(begin), static_cast<int>(end - begin), 0);
}

}  // namespace

FontSet LoadFonts(NVGcontext* context) {
  return {Load(context, "regular", prismelRegularFontBegin, prismelRegularFontEnd),
          Load(context, "strong", prismelStrongFontBegin, prismelStrongFontEnd)};
}

}  // namespace Vantora::plugin
