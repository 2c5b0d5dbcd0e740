#pragma once
// One instance of a fixture server for a whole test program: started by the
// first test that asks for it and stopped when the program ends normally,
// failed tests included (the fixtures' own watchdogs cover a crash).

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

namespace rotalis::test {

template <typename Server>
class SharedFixture : public ::testing::Environment {
 public:
  using Start = std::function<std::unique_ptr<Server>()>;

  // GoogleTest owns and deletes the registered environment.
  static SharedFixture& Register(Start start) {
    return *static_cast<SharedFixture*>(
        ::testing::AddGlobalTestEnvironment(new SharedFixture(std::move(start))));
  }

  Server& Get() {
    if (!server_) server_ = start_();
    return *server_;
  }
  // Stops the instance now; the next Get() starts a fresh one.
  void TearDown() override { server_.reset(); }

 private:
  explicit SharedFixture(Start start) : start_(std::move(start)) {}

  Start start_;
  std::unique_ptr<Server> server_;
};

}  // namespace rotalis::test
