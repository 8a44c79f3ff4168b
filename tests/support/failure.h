// Failures as one text, so that a single comparison covers class, code and the whole message.
#pragma once

#include <string>
#include <typeinfo>

#include <qorv/error.h>

namespace TestSupport {

/// "<code>: <message>" of the failure of `step`, which must be exactly of class `Failure`.
template <class Failure, class Step>
std::string FailureOf(Step&& step) {
  try {
    step();
  } catch (const Qorv::qvExp& failure) {
    if (typeid(failure) != typeid(Failure)) return std::string("another class: ") + typeid(failure).name();
    return std::to_string(failure.GetCode()) + ": " + failure.GetMessage().data();
  }
  return "no failure";
}

}  // namespace TestSupport
