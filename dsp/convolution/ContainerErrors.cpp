#include "dsp/convolution/ContainerErrors.h"

#include <stdexcept>

// Boost.Container asks for these when BOOST_CONTAINER_USER_DEFINED_THROW_CALLBACKS
// is defined, as this library does. Only the first differs from Boost's own: plain
// std::bad_alloc doesn't say which container was too small.
namespace boost::container {

[[noreturn]] void throw_bad_alloc();
[[noreturn]] void throw_out_of_range(const char* text);
[[noreturn]] void throw_length_error(const char* text);
[[noreturn]] void throw_logic_error(const char* text);
[[noreturn]] void throw_runtime_error(const char* text);

void throw_bad_alloc() { throw Vantora::dsp::ContainerBadAlloc(); }
void throw_out_of_range(const char* text) { throw std::out_of_range(text); }
void throw_length_error(const char* text) { throw std::length_error(text); }
void throw_logic_error(const char* text) { throw std::logic_error(text); }
void throw_runtime_error(const char* text) { throw std::runtime_error(text); }

}  // namespace boost::container
