// Function: a counted function object of one untyped pointer argument, what
// a Thread runs and what the watchers of ORVFile160NT call back.
// MemberFunction calls a member of an object; MakeFunction wraps any callable
// (a lambda). UnhandledExceptionFunction: where a Thread sends an exception
// that left its function (see ORVThread.h); MakeUnhandledExceptionFunction
// wraps a callable.
//
//   SmartPtr<Function> f = MakeFunction([&](void* arg) { ... });
//   SmartPtr<Function> g(new MemberFunction<Watcher>(*this, &Watcher::Loop));
//
// Ownership: the objects are counted (RefCounted) and created with new; the
// SmartPtrs that hold them decide their life. A MemberFunction borrows its
// object: the object must outlive every call (the watchers join their worker
// before they go). The callables are copied into the function object.
//
// Threads: a function object may be called on any thread; whether two calls
// may overlap is its author's business. The templates are header-only by
// design: they are instantiated in the caller's module.
#pragma once

#include <exception>
#include <string>
#include <type_traits>
#include <utility>

#include "ORVRefCount.h"
#include "ORVSmartPtr.h"
#include "ORVThreadDefs.h"

namespace ORV {

class ORV_THREAD_API Function : public RefCounted {
 public:
  /// The result is the exit code when a Thread runs the function; callbacks
  /// ignore it.
  virtual unsigned long operator()(void* argument) = 0;

 protected:
  Function() noexcept;
  ~Function() override;
};

template <class T>
class MemberFunction final : public Function {
 public:
  using Member = unsigned long (T::*)(void*);

  MemberFunction(T& object, Member member) noexcept : m_object(object), m_member(member) {}

  unsigned long operator()(void* argument) override { return (m_object.*m_member)(argument); }

 private:
  T& m_object;
  Member m_member;
};

/// A callable of (void*) returning void or something convertible to unsigned long.
template <class F>
class CallableFunction final : public Function {
 public:
  explicit CallableFunction(F callable) : m_callable(std::move(callable)) {}

  unsigned long operator()(void* argument) override {
    if constexpr (std::is_void_v<std::invoke_result_t<F&, void*>>) {
      m_callable(argument);
      return 0;
    } else {
      return static_cast<unsigned long>(m_callable(argument));
    }
  }

 private:
  F m_callable;
};

template <class F>
SmartPtr<Function> MakeFunction(F callable) {
  return SmartPtr<Function>(new CallableFunction<F>(std::move(callable)));
}

class ORV_THREAD_API UnhandledExceptionFunction : public RefCounted {
 public:
  /// Runs on the thread whose function error left, before that thread ends.
  /// An exception thrown from here is dropped: nothing is left to catch it.
  virtual void operator()(const std::wstring& threadName, const std::exception_ptr& error) = 0;

 protected:
  UnhandledExceptionFunction() noexcept;
  ~UnhandledExceptionFunction() override;
};

/// A callable of (const std::wstring& threadName, const std::exception_ptr& error).
template <class F>
class CallableUnhandledExceptionFunction final : public UnhandledExceptionFunction {
 public:
  explicit CallableUnhandledExceptionFunction(F callable) : m_callable(std::move(callable)) {}

  void operator()(const std::wstring& threadName, const std::exception_ptr& error) override {
    m_callable(threadName, error);
  }

 private:
  F m_callable;
};

template <class F>
SmartPtr<UnhandledExceptionFunction> MakeUnhandledExceptionFunction(F callable) {
  return SmartPtr<UnhandledExceptionFunction>(new CallableUnhandledExceptionFunction<F>(std::move(callable)));
}

}  // namespace ORV
