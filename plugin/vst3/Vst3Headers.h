#pragma once

// The VST3 interfaces as C tables, from Debian's dpf-source ("travesty", ISC). Its headers want this order.

#include <travesty/audio_processor.h>
#include <travesty/base.h>
#include <travesty/bstream.h>
#include <travesty/component.h>
#include <travesty/edit_controller.h>
#include <travesty/factory.h>
#include <travesty/unit.h>
#include <travesty/view.h>
