#include "tools/tq/DemoServer.h"

#include <httplib.h>

#include <algorithm>

#include "tools/tq/DemoClips.h"

namespace tq::tool {
namespace {

constexpr std::size_t kPieces = 40;

const DemoClip* clipAt(const std::string& path) {
  for (const auto& clip : demoClips()) {
    if (path.substr(1) == clip.name) return &clip;
  }
  return nullptr;
}

}  // namespace

DemoServer::DemoServer(std::chrono::milliseconds perClip)
    : perClip_(perClip), server_(std::make_unique<httplib::Server>()) {
  server_->set_keep_alive_max_count(1);  // a connection that waits for a next request would delay the end
  server_->Get("/.+", [this](const httplib::Request& request, httplib::Response& response) {
    const DemoClip* const clip = clipAt(request.path);
    if (clip == nullptr) {
      response.status = 404;
      return;
    }
    response.set_content_provider(
        clip->bytes.size(), "application/octet-stream",
        [this, clip](std::size_t offset, std::size_t left, httplib::DataSink& sink) {
          std::this_thread::sleep_for(perClip_ / kPieces);
          return !ending_ &&
                 sink.write(clip->bytes.data() + offset, std::min(left, clip->bytes.size() / kPieces + 1));
        });
  });
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (isListening()) thread_ = std::thread([this] { server_->listen_after_bind(); });
}

DemoServer::~DemoServer() {
  ending_ = true;
  if (!thread_.joinable()) return;
  // A stop that comes before the listening has begun is not heard.
  while (!server_->is_running()) std::this_thread::yield();
  server_->stop();
  thread_.join();
}

std::string DemoServer::url(std::string_view name) const {
  return "http://127.0.0.1:" + std::to_string(port_) + '/' + std::string(name);
}

}  // namespace tq::tool
