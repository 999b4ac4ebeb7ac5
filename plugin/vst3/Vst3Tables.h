#pragma once

#include "plugin/vst3/Vst3Headers.h"

namespace Vantora::plugin {

// The tables of calls behind the interfaces of a `Vst3Plugin`: see Vst3Tables.cpp.
const v3_component_cpp& ComponentTable();
const v3_audio_processor_cpp& ProcessorTable();
const v3_edit_controller_cpp& ControllerTable();
const v3_unit_information_cpp& UnitTable();
const v3_process_context_requirements_cpp& RequirementsTable();

}  // namespace Vantora::plugin
