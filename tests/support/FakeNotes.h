// A fake of the Notes API, generated from the library's one list of functions.
//
// While a `FakeNotes` lives, all 119 KO_ pointers lead here. Each function is a member under its
// own name: it counts calls, records arguments and answers as the test tells it; a call that no
// test announced fails the test and answers 0. When the object dies the pointers are what they
// were.
//
//   FakeNotes notes;
//   notes.NSFDbOpen.answer([](const char*, DBHANDLE* out) { *out = 7; return NOERROR; });
//   notes.NSFDbClose.answer(NOERROR);
//   {
//     auto failing = notes.NSFDbClose.during(ERR_MEMORY);   // for this scope only
//     ...
//   }
//   EXPECT_EQ(notes.NSFDbOpen.count(), 1u);
//   EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "mail/a.nsf");   // of the last call
#ifndef KOLN_TESTS_FAKE_NOTES_H
#define KOLN_TESTS_FAKE_NOTES_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "NotesApi.h"

// What `answer` and `during` take for a call that is to throw.
struct Throwing {};

// How an argument is kept: texts by value, since they are gone when the test looks.
template <typename Type>
struct KeptArgument {
  using Kept = Type;
  static Kept keep(Type value) { return value; }
};
template <>
struct KeptArgument<const char*> {
  using Kept = std::string;
  static Kept keep(const char* value) { return value != nullptr ? value : "(null)"; }
};

template <auto Pointer>
class Fake;

template <typename Result, typename... Parameters, Result (**Pointer)(Parameters...)>
class Fake<Pointer> {
 public:
  using Behaviour = std::function<Result(Parameters...)>;
  using Call = std::tuple<typename KeptArgument<Parameters>::Kept...>;

  explicit Fake(const char* name) : name_(name), before_(*Pointer) {
    current_ = this;
    *Pointer = &Fake::enter;
  }
  ~Fake() {
    *Pointer = before_;
    current_ = nullptr;
  }
  Fake(const Fake&) = delete;
  Fake& operator=(const Fake&) = delete;

  // Sets what calls do from now on: a callable, a result, or `Throwing{}`. With nothing given a
  // call is allowed and answers 0.
  void answer() {
    behaviour_ = [](Parameters...) { return Result(); };
  }
  template <typename Answer>
  void answer(Answer answer) {
    behaviour_ = behaviourOf(std::move(answer));
  }

  // The same until the returned object dies.
  template <typename Answer>
  [[nodiscard]] auto during(Answer answer) {
    return Scope(*this, behaviourOf(std::move(answer)));
  }

  // Takes the function out of the table, as if it had never been bound.
  void unbind() { *Pointer = nullptr; }

  std::size_t count() const { return calls_.size(); }

  // An argument of the last call, or of call number `call` counted from 0.
  template <std::size_t Index>
  auto argument() const {
    return argument<Index>(calls_.size() - 1);
  }
  template <std::size_t Index>
  auto argument(std::size_t call) const {
    return std::get<Index>(calls_.at(call));
  }

 private:
  class Scope {
   public:
    Scope(Fake& fake, Behaviour behaviour)
        : fake_(fake), before_(std::exchange(fake.behaviour_, std::move(behaviour))) {}
    ~Scope() { fake_.behaviour_ = std::move(before_); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Fake& fake_;
    Behaviour before_;
  };

  template <typename Answer>
  static Behaviour behaviourOf(Answer answer) {
    if constexpr (std::is_same_v<Answer, Throwing>) {
      return [](Parameters...) -> Result { throw Throwing{}; };
    } else if constexpr (std::is_invocable_v<Answer, Parameters...>) {
      return Behaviour(std::move(answer));
    } else {
      return [answer](Parameters...) { return static_cast<Result>(answer); };
    }
  }

  static Result enter(Parameters... parameters) {
    current_->calls_.emplace_back(KeptArgument<Parameters>::keep(parameters)...);
    if (!current_->behaviour_) {
      ADD_FAILURE() << "unexpected call of " << current_->name_;
      return Result();
    }
    // A copy, so that a behaviour may replace itself.
    const Behaviour behaviour = current_->behaviour_;
    return behaviour(parameters...);
  }

  static inline Fake* current_ = nullptr;
  const char* name_;
  Result (*before_)(Parameters...);
  Behaviour behaviour_;
  std::vector<Call> calls_;
};

// Compiled once, in FakeNotes.cpp.
#define KOLN_EXTERN_FAKE(result, name, parameters) extern template class Fake<&KO_##name>;
KOLN_NOTES_FUNCTIONS(KOLN_EXTERN_FAKE)
#undef KOLN_EXTERN_FAKE

struct FakeNotes {
  FakeNotes();
  ~FakeNotes();

#define KOLN_FAKE(result, name, parameters) Fake<&KO_##name> name{#name};
  KOLN_NOTES_FUNCTIONS(KOLN_FAKE)
#undef KOLN_FAKE
};

#endif
