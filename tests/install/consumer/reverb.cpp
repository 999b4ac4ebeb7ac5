// A stranger's use of one module: the convolution reverb, with its worker threads, as an object.
#include <cstdio>

#include "dsp/convolution/ConvolutionReverb.h"

int main() {
  Vantora::dsp::ConvolutionReverb reverb("Reverb");
  std::printf("%u parameters\n", reverb.GetParamCount());
}
