#pragma once

#include <memory>
#include <string_view>

namespace Vantora::cli {

/// WatchedStream: a pipe's bytes on their way to libsndfile, watched for what it doesn't tell: that they end
/// before the length in their header, or in the middle of an Ogg stream.
///
/// A thread hands them on, and ends when either side does. It reads ahead of the reader by what a pipe holds.
class WatchedStream {
 public:
  /// Takes over reading from `descriptor`; with `closes` it is closed when nothing more is read from it, and
  /// otherwise stays open. Throws Failure.
  explicit WatchedStream(int descriptor, bool closes = false);
  ~WatchedStream();
  WatchedStream(const WatchedStream&) = delete;
  WatchedStream& operator=(const WatchedStream&) = delete;

  /// Where the bytes come out.
  int Descriptor() const { return output; }

  /// Whether its first bytes, as far as they have come, are these.
  bool BeginsWith(std::string_view bytes) const;
  /// The stream has ended, and not where it should have.
  bool IsCut() const;
  /// What part of the declared samples came: 0 to 1; 1 where no length was declared.
  double Share() const;

 private:
  struct State;
  std::shared_ptr<State> state;  // with the thread, which may outlive this object: it may wait for input
  int output = -1;
};

}  // namespace Vantora::cli
