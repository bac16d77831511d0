#pragma once

#include <asio/error_code.hpp>
#include <asio/execution_context.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <utility>

#include <JNFoundation/adapters/BasicAsioHost.h>

namespace JNFoundation::inline v0_1 {

/// The types of standalone asio.
struct StandaloneAsio {
  // What BasicAsioHost asks of a library.
  using Context = asio::io_context;
  using ExecutionContext = asio::execution_context;
  using Service = asio::execution_context::service;
  using ServiceId = asio::execution_context::id;
  using Timer = asio::steady_timer;
  using Work = asio::executor_work_guard<asio::io_context::executor_type>;
  using Error = asio::error_code;

  /// The service of that type of the context, made at first use.
  template <class Found>
  static Found& service(Context& context) {
    return asio::use_service<Found>(context);
  }
  /// Has the context call the handler, later.
  template <class Handler>
  static void post(Context& context, Handler handler) {
    asio::post(context, std::move(handler));
  }
};

/// The main queue inside an `asio::io_context`.
using AsioHost = BasicAsioHost<StandaloneAsio>;

}  // namespace JNFoundation
