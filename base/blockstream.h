#pragma once
// RBlockStream: passes data through a transform that works on whole blocks of a fixed size
// (a block cipher, a checksum per block). Written data collect in the input block; a full
// block is transformed into the output block and written on. Reading takes blocks from the
// wrapped stream the same way. The last, partial block goes through the transform with its
// own size.

#include <cstdint>
#include <memory>

#include "base/stream.h"

class RBlockTransform {
public:
  virtual ~RBlockTransform() = default;
  // Transforms size bytes of in into out (size is the block size, or less for the last
  // block). in and out never overlap.
  virtual void Transform(const uint8_t* in, uint8_t* out, int size) = 0;
};

class RBlockStream : public RStream {
public:
  // Not yet usable: reading or writing throws "Buffering stream has not been initialized."
  // until Init.
  RBlockStream() = default;
  RBlockStream(RStream* stream, RBlockTransform* transform, int blockSize, bool ownsStream = false) {
    Init(stream, transform, blockSize, ownsStream);
  }
  RBlockStream(const RBlockStream&) = delete;
  RBlockStream& operator=(const RBlockStream&) = delete;
  // A partial block still waiting is flushed; a failure then goes to the log, since a
  // destructor cannot throw. Call Flush or Close to see it.
  ~RBlockStream() override;

  // The transform stays the caller's. A block size below 1 leaves the stream uninitialised.
  void Init(RStream* stream, RBlockTransform* transform, int blockSize, bool ownsStream = false);

  void Write(const void* bytes, int64_t count) override;
  int64_t Read(void* bytes, int64_t count) override;
  // Sends the partial input block through the transform and on, and resets the fill.
  void Flush() override;
  // Bytes passed through so far, in this stream's direction.
  int64_t GetPosition() override { return position_; }
  void Close() override;

  int GetBlockSize() const noexcept { return blockSize_; }

private:
  void Require() const;
  void Release() noexcept;

  RStream* stream_ = nullptr;
  RBlockTransform* transform_ = nullptr;
  bool ownsStream_ = false;
  int blockSize_ = 0;
  std::unique_ptr<uint8_t[]> input_;
  std::unique_ptr<uint8_t[]> output_;
  int fill_ = 0;      // bytes gathered in the input block when writing
  int readAt_ = 0;    // next byte of the output block to give out when reading
  int readFill_ = 0;  // bytes in the output block when reading
  int64_t position_ = 0;
};
