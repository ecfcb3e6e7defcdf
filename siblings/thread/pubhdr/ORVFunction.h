/// \class ORV::Function
/// Function: a counted function object of one untyped pointer argument, what
/// a Thread runs and what the watchers of ORVFile160NT call back.
/// MemberFunction calls a member of an object; MakeFunction wraps any callable
/// (a lambda). UnhandledExceptionFunction: where a Thread sends an exception
/// that left its function (see ORVThread.h); MakeUnhandledExceptionFunction
/// wraps a callable.
///
/// \code
///   SmartPtr<Function> f = MakeFunction([&](void* arg) { ... });
///   SmartPtr<Function> g(new MemberFunction<Watcher>(*this, &Watcher::Loop));
/// \endcode
///
/// Ownership: the objects are counted (RefCounted) and created with new; the
/// SmartPtrs that hold them decide their life. A MemberFunction borrows its
/// object: the object must outlive every call (the watchers join their worker
/// before they go). The callables are copied into the function object.
///
/// Threads: a function object may be called on any thread; whether two calls
/// may overlap is its author's business. The templates are header-only by
/// design: they are instantiated in the caller's module.
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

/// Calls member on a borrowed object, which must outlive every call.
template <class T>
class MemberFunction final : public Function {
 public:
  /// The member called: unsigned long T::member(void* argument).
  using Member = unsigned long (T::*)(void*);

  /// Borrows object; calls go to (object.*member)(argument).
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
  /// Keeps its own copy of callable.
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

/// A counted Function over a copy of callable (see CallableFunction).
template <class F>
SmartPtr<Function> MakeFunction(F callable) {
  return SmartPtr<Function>(new CallableFunction<F>(std::move(callable)));
}

/// Where a Thread sends an exception that left its function (see Thread).
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
  /// Keeps its own copy of callable.
  explicit CallableUnhandledExceptionFunction(F callable) : m_callable(std::move(callable)) {}

  void operator()(const std::wstring& threadName, const std::exception_ptr& error) override {
    m_callable(threadName, error);
  }

 private:
  F m_callable;
};

/// A counted UnhandledExceptionFunction over a copy of callable.
template <class F>
SmartPtr<UnhandledExceptionFunction> MakeUnhandledExceptionFunction(F callable) {
  return SmartPtr<UnhandledExceptionFunction>(new CallableUnhandledExceptionFunction<F>(std::move(callable)));
}

}  // namespace ORV
