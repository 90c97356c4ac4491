#include "host/FilterCommand.h"

#include <chrono>

#include "host/FrameSource.h"
#include "host/PictureSequence.h"
#include "host/PixelSize.h"
#include "host/StopSignals.h"

namespace {

using Clock = std::chrono::steady_clock;

/// How long a filter may take for one picture.
constexpr std::chrono::seconds kPictureWait{30};
/// When a picture that keeps a size of its own is taken for up to date.
constexpr std::chrono::milliseconds kOwnSizeWait{500};

std::shared_ptr<ZQVuoComposition> readFilter(const std::string& file) {
  auto composition = readComposition(file);
  if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) {
    throw Failure{file +
                  " is no image filter: it needs the published image input image and the published "
                  "image output outputImage"};
  }
  return composition;
}

std::unique_ptr<FrameSource> sourceOf(const FilterOptions& options) {
  if (options.input == "-") {
    const ZQSize size = options.size ? sizeFromText(*options.size) : ZQSize{};
    return videoFromStandardInput(options.format, static_cast<std::size_t>(size.width),
                                  static_cast<std::size_t>(size.height));
  }
  auto files = picturesNamed(options.input);
  if (files.empty()) throw Failure{"--input " + options.input + ": no picture there"};
  return picturesFrom(std::move(files));
}

/// A frame call returns the latest picture, which may still be of the frame before. So a tiny
/// picture goes in ahead of each frame: what comes out at another size than the tiny one is the
/// frame's own.
class Filterer {
 public:
  Filterer(SceneDriver& driver, const FilterOptions& options, ZQBufferPool& pool)
      : _driver(driver), _options(options), _pool(pool) {}

  void run(FrameSource& source) {
    if (source.fps()) _driver.setFps(*source.fps());
    _driver.load({1, 1});
    _tiny = _pool.allocBufferWithPixels({1, 1, {0, 0, 0, 0}});
    for (int index = 1; stopSignal() == 0; ++index) {
      const auto pixels = source.next();
      if (!pixels) return;
      const auto frame = _pool.allocBufferWithPixels(*pixels);
      if (!frame) throw Failure{"a picture is too large for the GPU"};
      _driver.write(*filtered(frame), index, source.count());
    }
  }

 private:
  ZQBufferRef filtered(const ZQBufferRef& frame) {
    const ZQSize tiny = _tiny->size();
    if (!goesAhead(frame)) return afterSeveralCalls(frame);
    auto picture = pictureThat([&](ZQSize size) { return size != tiny; }, frame, kPictureWait);
    if (!picture) fail();
    return picture;
  }

  /// Sends the tiny picture ahead of the frame; false where that tells nothing.
  bool goesAhead(const ZQBufferRef& frame) {
    const ZQSize tiny = _tiny->size();
    if (frame->size() == tiny || !_followsInput) return false;
    const auto isTiny = [&](ZQSize size) { return size == tiny; };
    _followsInput = static_cast<bool>(pictureThat(isTiny, _tiny, kOwnSizeWait));
    return _followsInput;
  }

  ZQBufferRef afterSeveralCalls(const ZQBufferRef& frame) {
    ZQBufferRef picture;
    for (int call = 0; call < kCallsWithoutMarker; ++call) {
      picture = pictureThat([](ZQSize) { return true; }, frame, kPictureWait);
      if (!picture) fail();
    }
    return picture;
  }

  /// Filters `frame` again and again until a fresh picture has a size that fits; null when none had
  /// in time.
  template <class Fits>
  ZQBufferRef pictureThat(Fits fits, const ZQBufferRef& frame, Clock::duration longest) {
    const auto start = Clock::now();
    do {
      (void)_driver.scene().copyAndClearOutValPortNames();
      auto picture = _driver.scene().runFilterOnFrame(frame);
      if (picture && fits(picture->size())) return picture;
      if (!_driver.scene().readyToRender()) fail();
    } while (Clock::now() - start < longest);
    return nullptr;
  }

  [[noreturn]] void fail() { _driver.fail(_options.file + " gave no picture"); }

  static constexpr int kCallsWithoutMarker = 8;

  SceneDriver& _driver;
  const FilterOptions& _options;
  ZQBufferPool& _pool;
  ZQBufferRef _tiny;
  bool _followsInput = true;
};

}  // namespace

int filter(const FilterOptions& options) {
  return withSession(options.cacheFolder, [&](HostSession& session, LogCapture& log) {
    const auto composition = readFilter(options.file);
    const auto source = sourceOf(options);
    SceneDriver driver(options, composition, session, log);
    Filterer(driver, options, session.pool()).run(*source);
  });
}
