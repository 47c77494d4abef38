#pragma once

#include <any>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <ranges>
#include <string>
#include <unordered_map>
#include <vector>

#define EXPECT_EQ(a, b) static_cast<void>((a) == (b))

/// What the examples of headers and pages take for granted: an application's screens, clips and functions.
/// They are declared only; the examples are compiled and never run.
namespace stand_ins {

using namespace tq;
using namespace std::chrono_literals;
using Component = Calendar::Component;
using Repeats = RunLoop::Repeats;
using State = std::string_view;

/// The application's object in which an example stands.
struct Host : std::enable_shared_from_this<Host> {
  void insert(const std::shared_ptr<void>& clip);
};

class Screen : public TQAVAssetLoadProtocol,
               public TQDiskSpaceHandlerDelegate,
               public TQFileDownloaderDelegate,
               public TQNetworkObserverDelegate {};
extern std::shared_ptr<Screen> screen;
extern std::shared_ptr<NSURLSessionDownloadDelegate> delegate;
struct Player : std::shared_ptr<AAPLStateMachineDelegate> {
  float duration() const;
};
extern Player player;
extern std::weak_ptr<TQEditInitiatorProtocol> weakInitiator;

struct Label {
  void setText(const std::string& text);
};
extern Label label, title, room, size;

struct MediaItem {};
struct Clip {
  std::string name() const;
};
struct ClipPointer : std::shared_ptr<Clip> {
  Date created() const;
};
struct Videos : TQAVAssetLoader::Videos {
  Videos madeFrom(Date date) const;
  Videos made(Date from, Date to) const;
};
struct Request {
  void cancel();
};
struct Radio {
  SCNetworkReachabilityFlags flags() const;
  void onChange(std::function<void()> call);
};
extern std::shared_ptr<Radio> radio;
struct HostLoop {
  void watchReadable(int descriptor, const std::function<void()>& readable);
  void postToUiThread(const std::function<void()>& task);
};
struct HostLog {
  void write(std::string_view line);
};
extern ClipPointer clip;
extern Videos videos, picked;
extern TQActionParameters parameters;
extern std::shared_ptr<const PHAsset> video;
extern std::shared_ptr<PHImageManager> photos;
extern std::shared_ptr<FakeImageManager> fake;
extern std::shared_ptr<FixedVolumeInfo> fixed;
extern std::shared_ptr<Request> request;
extern std::shared_ptr<TQReachability> reachability;
extern std::shared_ptr<NSNotificationCenter> center;
extern NSNotification::Name name, kClipAdded;
extern std::shared_ptr<NSURLSessionDownloadTask> task;
extern std::optional<NSError> error;
extern Bundle hostBundle;
extern URL url;
extern HostLoop hostLoop;
extern HostLog myLog;
extern std::vector<std::string> names, items, kept;
extern std::string item;
extern std::size_t position;
extern std::uint64_t needed;
extern std::filesystem::path folder;
extern Mutex mutex_;
extern ConditionVariable added_;
extern std::deque<Task> tasks_;
extern Date now, release, deadline, wallClockTime;
extern std::shared_ptr<ManualQueue> queue;
extern std::map<std::string, std::any> details;
extern std::string text, path, prefix;

std::size_t hash(const std::string& text);
std::string lowered(const std::string& text);
int walk(const std::filesystem::path& folder);
void edit(const TQLoadedAssets& assets);
void moveBar(double fraction);
void showBar();
void hideBar();
void startClock();
void stopClock();
void askForPassword();
void closeEditor();
void reload();
void showDiskFull();
void showOffline();
void start();
void lookAgain();
void refuse();
void retryLater();
void showAsNew(const auto& clip);
void say(const std::string& text);
void log(const std::string& text);
void show(const auto&... what);
void share(const auto& what);
void handle(const auto& what);

}  // namespace stand_ins
