#include "host/RenderCommand.h"

#include <poll.h>

#include <chrono>
#include <cmath>

#include "host/DrawingLimit.h"
#include "host/PixelSize.h"
#include "host/StopSignals.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr ZQSize kDefaultSize{1280, 720};

double defaultPixels(const ZQVuoComposition::Port& port, double otherwise) {
  const auto value = port->defaultVal() ? port->defaultVal()->doubleValue() : std::nullopt;
  return value && *value >= 1 ? std::trunc(*value) : otherwise;
}

ZQSize pictureSize(const RenderOptions& options, const ZQVuoComposition& composition) {
  if (!options.size) {
    return {defaultPixels(composition.runnerWidthPort(), kDefaultSize.width),
            defaultPixels(composition.runnerHeightPort(), kDefaultSize.height)};
  }
  return sizeFromText(*options.size);
}

std::shared_ptr<ZQVuoComposition> readGenerator(const std::string& file) {
  auto composition = readComposition(file);
  if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator)) {
    throw refusal(file,
                  "is no image generator: it needs the published inputs width and height and the "
                  "published image output outputImage");
  }
  return composition;
}

/// Lets one frame begin with each tick of a clock.
class Pace {
 public:
  explicit Pace(const FrameRate& rate) : _rate(rate) {}

  /// False when the user asked the program to stop.
  bool waitForTick(int index) {
    if (index == 1) _start = Clock::now();
    const auto tick = _start + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double>(_rate.timeOf(index)));
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(tick - Clock::now());
      pollfd stop{stopDescriptor(), POLLIN, 0};
      if (left.count() > 0) ::poll(&stop, 1, static_cast<int>(left.count()));
      if (stopSignal() != 0) return false;
      if (Clock::now() >= tick) return true;
    }
  }

 private:
  const FrameRate _rate;
  Clock::time_point _start;
};

}  // namespace

int render(const RenderOptions& options) {
  return withSession(options.cacheFolder, [&](HostSession& session) {
    const auto composition = readGenerator(options.file);
    const ZQSize size = pictureSize(options, *composition);
    requireDrawable(session.context(), size, "a picture of " + textFromSize(size));
    SceneDriver driver(options, composition, session);
    driver.load();
    Pace pace(options.rate);
    const auto request = [&](int index) -> std::optional<VuoFrameRequest> {
      if (index > options.frames) return std::nullopt;
      VuoFrameRequest frame;
      frame.size = size;
      if (!options.realtime) frame.time = driver.timeOf(index);
      if (options.realtime && !pace.waitForTick(index)) return std::nullopt;
      return frame;
    };
    driver.run(
        request, [&] { return !options.realtime; }, options.frames);
  });
}
