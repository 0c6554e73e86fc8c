#pragma once

namespace cloud::push {

/// Lets pushes in to the services that live. The client library can't be told to forget the context
/// of a registration, and its instance may outlive the service that registered: without the gate a
/// late push would walk into freed memory. Any thread may call anything.
class push_gate {
 public:
  static void open(const void* context);
  /// Lets no more visits in and waits until the last one has left. Not to be called from a visit.
  static void close(const void* context) noexcept;

  /// One push inside.
  class visit {
   public:
    /// Without effect where the gate isn't open.
    explicit visit(const void* context) noexcept;
    visit(const visit&) = delete;
    visit& operator=(const visit&) = delete;
    ~visit();

    explicit operator bool() const noexcept { return inside_; }

   private:
    const void* const context_;
    const bool inside_;
  };
};

}  // namespace cloud::push
