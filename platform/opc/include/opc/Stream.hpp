// Byte streams of package parts, adaptors to standard streams, and stream copying.
#pragma once

#include <opc/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>

namespace opc {

/// A readable byte stream (a part's content, a file).
class OPC_API InputStream {
 public:
  virtual ~InputStream();
  /// Reads up to `max` bytes into `buffer` and returns how many were read; 0 only at the end.
  /// A failure (I/O error, corrupt data, size or CRC mismatch at the end of a part) throws a
  /// std::runtime_error whose text names the part or file; it is never reported as the end.
  virtual std::size_t read(char* buffer, std::size_t max) = 0;
  /// True once a read has returned 0 (or the stream knows it has no bytes left).
  virtual bool isEOF() const = 0;
};

/// A writable byte stream (a part being created).
class OPC_API OutputStream {
 public:
  virtual ~OutputStream();
  /// Writes `count` bytes and returns how many were accepted. A failure, or a write to the
  /// stream of a part that is already finished, throws std::runtime_error naming the part.
  virtual std::size_t write(const char* data, std::size_t count) = 0;
  virtual void flush() = 0;
};

/// An InputStream over a std::istream (not owned).
class OPC_API StdIStreamAdaptor : public InputStream {
 public:
  explicit StdIStreamAdaptor(std::istream& in) : in_(in) {}
  std::size_t read(char* buffer, std::size_t max) override;
  bool isEOF() const override;

 private:
  std::istream& in_;
  bool eof_ = false;
};

/// An OutputStream over a std::ostream (not owned).
class OPC_API StdOStreamAdaptor : public OutputStream {
 public:
  explicit StdOStreamAdaptor(std::ostream& out) : out_(out) {}
  std::size_t write(const char* data, std::size_t count) override;
  void flush() override;

 private:
  std::ostream& out_;
};

/// Stream copying in fixed-size blocks.
class OPC_API StreamHelper {
 public:
  /// Copies the whole of `in` to `out`; returns the byte count. Throws std::runtime_error when
  /// `out` fails.
  static std::uint64_t copyStreamToStream(InputStream& in, std::ostream& out);
  static std::uint64_t copyStreamToStream(InputStream& in, OutputStream& out);
};

}  // namespace opc
