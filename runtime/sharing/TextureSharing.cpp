#include "runtime/sharing/TextureSharing.h"

#include <epoxy/gl.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/system/Dispatch.h"
#include "platform/system/Mutex.h"
#include "platform/system/WithMemory.h"
#include "runtime/runner/RunningAtExit.h"
#include "runtime/sharing/VulkanMemory.h"

namespace vuo {
namespace {

bool allowedByEnvironment() {
  const char* const said = std::getenv("BRANNOW_SHARED_TEXTURES");
  return said == nullptr || std::string_view(said) != "0";
}

/// What there is once in a process. Lives until the process is gone.
struct Service {
  std::atomic<bool> isAllowed{allowedByEnvironment()};
  std::atomic<bool> isBegun{false};

  platform::Mutex lock;  ///< no lock is taken inside it
  platform::ConditionVariable decided;
  bool isDeciding GUARDED_BY(lock) = false;
  bool isDecided GUARDED_BY(lock) = false;
  bool isOver GUARDED_BY(lock) = false;
  std::string whyNot GUARDED_BY(lock);    ///< where it has been decided against
  std::string fellBack GUARDED_BY(lock);  ///< why it did not always serve
  // Set once, where it has been decided for:
  std::string identity GUARDED_BY(lock);
  std::shared_ptr<ShareGroup> group GUARDED_BY(lock);
  std::unique_ptr<const VulkanMemory> memory GUARDED_BY(lock);

  static Service& only() {
    static Service& service = *new Service;
    return service;
  }

  void decide();
  void find();
  /// The process may not end in the middle of it: drivers take themselves apart then.
  void end() {
    platform::UniqueLock hold(lock);
    isOver = true;
    while (isDeciding) decided.wait(hold);
  }
};

/// By name. The lock is taken inside no other but a scene's and a composition's.
struct Registry {
  platform::Mutex lock;  ///< no lock is taken inside it
  std::unordered_map<std::uint32_t, std::vector<std::weak_ptr<SharedTexture>>> textures
      GUARDED_BY(lock);

  static Registry& only() {
    static Registry& registry = *new Registry;
    return registry;
  }
};

/// That the pixels which one texture of a memory shows are those which another one was given: what
/// holds for two in this process holds for one in another.
void tryOut(const VulkanMemory& vulkan) {
  constexpr GLsizei side = 64;
  const ImageMemory memory = vulkan.allocate(side, side);
  std::vector<std::uint32_t> given, shown(side * side);
  for (std::uint32_t i = 0; i < side * side; ++i) given.push_back(i * 2654435761u);
  const MemoryTexture one = MemoryTexture::over(memory);
  MemoryTexture other;
  try {
    other = MemoryTexture::over(memory);
  } catch (...) {
    one.destroy();
    throw;
  }
  glBindTexture(GL_TEXTURE_2D, one.texture);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, side, side, GL_RGBA, GL_UNSIGNED_BYTE, given.data());
  glFinish();
  glBindTexture(GL_TEXTURE_2D, other.texture);
  glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, shown.data());
  glBindTexture(GL_TEXTURE_2D, 0);
  one.destroy();
  other.destroy();
  if (given != shown) throw std::runtime_error("this driver's textures do not share their pixels");
}

void Service::find() {
  const auto root = ShareGroup::current();
  std::string named;
  root->withContext([&] { named = deviceIdentity(); });
  if (named.empty()) throw std::runtime_error("OpenGL shares no memory on this machine");
  auto vulkan = std::make_unique<const VulkanMemory>(named);
  std::string fault;
  const bool hasTried = root->withContext([&] {
    try {
      tryOut(*vulkan);
    } catch (const std::exception& raised) {
      fault = raised.what();
    }
  });
  if (!hasTried) fault = "there is no OpenGL context to share with";
  if (!fault.empty()) throw std::runtime_error(fault);
  platform::LockGuard hold(lock);
  identity = named;
  group = root;
  memory = std::move(vulkan);
}

void Service::decide() {
  {
    platform::LockGuard hold(lock);
    if (isOver) return;
    isDeciding = true;
  }
  std::string fault;
  try {
    find();
    RunningAtExit::driverIsComplete();
  } catch (const std::exception& raised) {
    platform::withMemory([&] { fault = raised.what(); });
  }
  {
    platform::LockGuard hold(lock);
    whyNot = fault;
    isDecided = true;
    isDeciding = false;
  }
  decided.notify_all();
}

}  // namespace

void TextureSharing::prepare() {
  Service& service = Service::only();
  if (!service.isAllowed || service.isBegun.exchange(true)) return;
  static RunningAtExit& atExit = *new RunningAtExit([&service] { service.end(); });
  (void)atExit;
  platform::globalConcurrentQueue().async([&service] { service.decide(); });
}

std::string TextureSharing::identity() {
  Service& service = Service::only();
  platform::LockGuard hold(service.lock);
  return service.identity;
}

std::string TextureSharing::description() {
  Service& service = Service::only();
  if (!service.isAllowed) return "shared memory (sharing textures is switched off)";
  platform::LockGuard hold(service.lock);
  if (!service.isDecided) return "shared memory (nothing has asked for shared textures yet)";
  if (!service.whyNot.empty()) return "shared memory (" + service.whyNot + ")";
  if (service.fellBack.empty()) return "shared textures";
  return "shared textures, or shared memory (" + service.fellBack + ")";
}

void TextureSharing::fellBack(const std::string& why) {
  Service& service = Service::only();
  platform::LockGuard hold(service.lock);
  service.fellBack = why;
}

void TextureSharing::allow(bool allowed) {
  Service::only().isAllowed = allowed;
}

bool TextureSharing::isAllowed() {
  return Service::only().isAllowed;
}

TextureSharing::Counts& TextureSharing::counts() {
  static Counts counts;
  return counts;
}

std::shared_ptr<SharedTexture> TextureSharing::make(std::uint64_t width, std::uint64_t height,
                                                    PictureBudget::Share share) {
  Service& service = Service::only();
  const VulkanMemory* memory;
  std::shared_ptr<ShareGroup> group;
  {
    platform::LockGuard hold(service.lock);
    memory = service.memory.get();
    group = service.group;
  }
  if (memory == nullptr || group != ShareGroup::current())
    throw std::runtime_error("No textures are shared here");
  std::shared_ptr<SharedTexture> texture;
  std::string fault = "there is no OpenGL context to share with";
  group->withContext([&] {
    try {
      texture =
          std::make_shared<SharedTexture>(group, memory->allocate(width, height), std::move(share));
    } catch (const std::exception& raised) {
      fault = raised.what();
    }
  });
  if (!texture) throw std::runtime_error(fault);
  Registry& registry = Registry::only();
  platform::LockGuard hold(registry.lock);
  auto& ofName = registry.textures[texture->name()];
  std::erase_if(ofName, [](const auto& former) { return former.expired(); });
  ofName.push_back(texture);
  return texture;
}

std::shared_ptr<SharedTexture> TextureSharing::of(VuoImage image) {
  if (image->glTextureTarget != GL_TEXTURE_2D) return nullptr;
  std::shared_ptr<SharedTexture> found;
  {
    Registry& registry = Registry::only();
    platform::LockGuard hold(registry.lock);
    const auto named = registry.textures.find(image->glTextureName);
    if (named == registry.textures.end()) return nullptr;
    std::erase_if(named->second, [](const auto& former) { return former.expired(); });
    if (named->second.empty()) {
      registry.textures.erase(named);
      return nullptr;
    }
    found = named->second.back().lock();
  }
  const bool isWhole = found && found->hasSize(image->pixelsWide, image->pixelsHigh);
  return isWhole && found->group() == ShareGroup::current() ? found : nullptr;
}

}  // namespace vuo
