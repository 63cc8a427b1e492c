#pragma once
// Counting allocator for the real-time tests: a binary that compiles allocationcounter.cpp
// gets global allocation functions (and, on glibc without a sanitizer, the C allocator) that
// count the calls made by a thread inside an RCountingScope. Only that thread counts, so the
// test runner's own threads and the set-up before the scope stay out of the figure.

class RCountingScope {
public:
  RCountingScope();
  ~RCountingScope();
  RCountingScope(const RCountingScope&) = delete;
  RCountingScope& operator=(const RCountingScope&) = delete;

  // Allocations by this thread since the scope opened.
  long Allocations() const;

private:
  long start_;
};
