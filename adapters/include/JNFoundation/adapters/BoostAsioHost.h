#pragma once

#include <boost/asio/execution_context.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

#include <JNFoundation/adapters/BasicAsioHost.h>

namespace JNFoundation::inline v0_1 {

/// The types of Boost.Asio.
struct BoostAsio {
  // What BasicAsioHost asks of a library.
  using Context = boost::asio::io_context;
  using ExecutionContext = boost::asio::execution_context;
  using Service = boost::asio::execution_context::service;
  using ServiceId = boost::asio::execution_context::id;
  using Timer = boost::asio::steady_timer;
  using Work = boost::asio::executor_work_guard<boost::asio::io_context::executor_type>;
  using Error = boost::system::error_code;

  /// The service of that type of the context, made at first use.
  template <class Found>
  static Found& service(Context& context) {
    return boost::asio::use_service<Found>(context);
  }
  /// Has the context call the handler, later.
  template <class Handler>
  static void post(Context& context, Handler handler) {
    boost::asio::post(context, std::move(handler));
  }
};

/// The main queue inside a `boost::asio::io_context`.
using BoostAsioHost = BasicAsioHost<BoostAsio>;

}  // namespace JNFoundation
