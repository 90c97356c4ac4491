#include "host/FilterCommand.h"

#include <chrono>

#include "host/Picture.h"
#include "host/PictureSequence.h"
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

/// A frame call returns the latest picture, which may still be of the frame before. So a tiny
/// picture goes in ahead of each frame: what comes out at another size than the tiny one is the
/// frame's own.
class Filterer {
 public:
  Filterer(SceneDriver& driver, const FilterOptions& options, ZQBufferPool& pool)
      : _driver(driver), _options(options), _pool(pool) {}

  void run(const std::vector<std::string>& files) {
    _driver.load({1, 1});
    _tiny = _pool.allocBufferWithPixels({1, 1, {0, 0, 0, 0}});
    for (std::size_t i = 0; i < files.size(); ++i) {
      if (stopSignal() != 0) return;
      const ZQBufferRef picture = filtered(frameFrom(files[i]));
      _driver.write(*picture, static_cast<int>(i + 1), static_cast<int>(files.size()));
    }
  }

 private:
  ZQBufferRef frameFrom(const std::string& file) {
    std::string problem;
    const auto pixels = host::readPicture(file, problem);
    if (!pixels) throw Failure{problem};
    auto frame = _pool.allocBufferWithPixels(*pixels);
    if (!frame) throw Failure{file + " is too large for the GPU"};
    return frame;
  }

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
    const auto files = picturesNamed(options.input);
    if (files.empty()) throw Failure{"--input " + options.input + ": no picture there"};
    SceneDriver driver(options, composition, session, log);
    Filterer(driver, options, session.pool()).run(files);
  });
}
