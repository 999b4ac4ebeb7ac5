# Writes OUTPUT: a source with the text of every preset of FOLDER.
file(GLOB files "${FOLDER}/*.json")
list(SORT files)
set(rows "")
foreach(path IN LISTS files)
  file(READ "${path}" text)
  get_filename_component(name "${path}" NAME_WE)
  string(APPEND rows "      {\"${name}\", R\"json(${text})json\"},\n")
endforeach()
file(WRITE "${OUTPUT}" "// Generated from presets/.
#include \"plugin/core/FactoryBank.h\"

namespace Vantora::plugin {

const std::vector<FactoryText>& FactoryTexts() {
  static const std::vector<FactoryText> texts = {
${rows}  };
  return texts;
}

}  // namespace Vantora::plugin
")
