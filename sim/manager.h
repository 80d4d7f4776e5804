#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "sim/board.h"
#include "sim/clock.h"
#include "sim/codes.h"
#include "sim/journal.h"

namespace sim {

/// What a read gave. `unterminated`: the caller's buffer is to be filled without a NUL.
struct Reading {
  std::string text;
  bool unterminated = false;
};

/// The device manager behind the entry points: the one lock, the clock, the thread that calls the
/// update callbacks, and the way of a request through faults, latency and the journal.
///
/// Threads: every function locks by itself. With a stepped clock, a request returns after all
/// callbacks that it caused have returned, unless it was made by such a callback.
class Manager {
 public:
  int init(const std::string& manifest, const std::string& profile, const std::string& properties);
  int run();
  int stop();

  /// Ends the thread before the process does. Waits two seconds for a callback that does not
  /// return.
  void atExit();

  /// The log's configuration, for the journal.
  void noteLog(std::string_view entry, std::string_view argument, int code);

  /// Journals a call that was refused for its arguments alone; returns `code`.
  int refuse(std::string_view entry, int code);

  int get(int deviceId, const std::string& name, int accessMode, Reading& reading);
  int set(int deviceId, const std::string& name, std::int32_t value);
  int clear(int deviceId, const std::string& name);
  int list(std::string_view entry, std::optional<KindIndex> kind, std::vector<std::string>& names,
           std::vector<std::string>& details);
  int refreshStatus(bool& running);
  int listen(int deviceId, const std::string& apiName, const UpdateCallback& callback);
  int request(std::string_view entry, Operation operation, const MailboxRequest& request,
              MailboxReply& reply);
  int asyncRequest(std::string_view entry, const MailboxRequest& request,
                   std::span<const std::uint32_t> input, MailboxReply& reply);

 private:
  /// Does the work of a request at the moment `when`.
  using Body = std::function<int(const Call& call, Time when)>;

  /// The whole way of one request. `line` gets the arguments from the caller and the outcome here.
  int perform(Call& call, int deviceId, JsonLine& line, const Body& body);
  int admit(Call& call, int deviceId, JsonLine& line, const Body& body,
            std::unique_lock<std::mutex>& lock);
  [[nodiscard]] CallFacts factsOf(const Call& call) const;
  static void noteFault(const Faults::Hit& hit, const Call& call, JsonLine& line);
  int noteRefusal(std::string_view entry, int code);
  int hang(const Call& call, std::unique_lock<std::mutex>& lock);
  [[nodiscard]] bool sameRun(std::int64_t run) const { return run == runs_ && !stopping_; }

  int initialise(const std::string& manifest, const std::string& profile,
                 const std::string& properties, std::unique_lock<std::mutex>& lock);
  void load(const std::string& manifest, const std::string& profile, const std::string& properties);
  void startThread();
  void deliver();
  void makeCall(const Update& update, std::unique_lock<std::mutex>& lock);
  void drain(std::unique_lock<std::mutex>& lock);
  void reportFaults();

  std::mutex mutex_;
  std::condition_variable work_;  ///< The thread has something to do, or has to end.
  std::condition_variable idle_;  ///< The thread has nothing to do, or waiting calls have to end.
  std::optional<Board> board_;
  std::optional<Clock> clock_;
  Journal journal_;
  std::thread thread_;
  TextFault textFault_ = TextFault::none;
  std::int64_t runs_ = 0;
  bool running_ = false;
  bool stopping_ = false;
  bool calling_ = false;
  bool threadEnded_ = false;
};

}  // namespace sim
