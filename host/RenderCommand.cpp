#include "host/RenderCommand.h"

#include <chrono>
#include <cmath>

#include "host/PixelSize.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr ZQSize kDefaultSize{1280, 720};
/// How long a composition may take to its first picture.
constexpr std::chrono::seconds kFirstPictureWait{30};
/// When a picture that keeps a size of its own is taken for up to date.
constexpr std::chrono::milliseconds kOwnSizeWait{500};

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
    throw Failure{file +
                  " is no image generator: it needs the published inputs width and height and the "
                  "published image output outputImage"};
  }
  return composition;
}

class Renderer {
 public:
  Renderer(SceneDriver& driver, const RenderOptions& options, ZQSize size)
      : _driver(driver), _options(options), _size(size) {}

  void run() {
    // The scene starts at another size than the picture's. Events are processed in order, so once a
    // picture has the right size, every value that was set before shows in it.
    _driver.load({_size.width + 1, _size.height + 1});
    _driver.scene().setSize(_size.width, _size.height);
    ZQBufferRef picture = firstPicture();
    for (int frame = 1; picture; ++frame) {
      _driver.write(*picture, frame, _options.frames);
      if (frame == _options.frames || !_driver.waitForNextTick()) return;
      picture = nextPicture();
    }
  }

 private:
  /// Null when the user asked to stop.
  ZQBufferRef firstPicture() {
    const auto start = Clock::now();
    std::optional<Clock::time_point> firstSeen;
    do {
      auto picture = _driver.scene().allocAndRenderABuffer();
      if (picture && picture->size() == _size) return picture;
      if (picture && !firstSeen) firstSeen = Clock::now();
      if (picture && keepsItsOwnSize(picture->size()) && Clock::now() - *firstSeen > kOwnSizeWait) {
        return picture;
      }
      if (Clock::now() - start > kFirstPictureWait || !_driver.scene().readyToRender()) fail();
    } while (_driver.waitForNextTick());
    return nullptr;
  }

  /// Whether a picture is of neither the size that the scene had at first nor one on the way from
  /// there.
  bool keepsItsOwnSize(ZQSize size) const {
    return size.width != _size.width + 1 && size.height != _size.height + 1;
  }

  /// Waits for a fresh picture, unless the composition has shown that the time does not reach its
  /// picture; that one stays as it is.
  ZQBufferRef nextPicture() {
    if (_timeReachesPicture) {
      (void)_driver.scene().copyAndClearOutValPortNames();
      if (auto picture = _driver.scene().allocAndRenderABuffer()) return picture;
      _timeReachesPicture = false;
    }
    auto picture = _driver.scene().allocABuffer();
    if (!picture) fail();
    return picture;
  }

  [[noreturn]] void fail() { _driver.fail(_options.file + " gave no picture"); }

  SceneDriver& _driver;
  const RenderOptions& _options;
  const ZQSize _size;
  bool _timeReachesPicture = true;
};

}  // namespace

int render(const RenderOptions& options) {
  return withSession(options.cacheFolder, [&](HostSession& session, LogCapture& log) {
    const auto composition = readGenerator(options.file);
    const ZQSize size = pictureSize(options, *composition);
    SceneDriver driver(options, composition, session, log);
    Renderer(driver, options, size).run();
  });
}
