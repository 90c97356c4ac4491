// A frame by request: what a host asks a scene for, and what it gets.
//
//   VuoFrameRequest request;
//   request.time = 2.5;                                  // seconds, on the host's own clock
//   auto front = first->askForFrame(request);            // returns at once: ask all layers …
//   auto back = second->askForFrame(request);
//   VuoFrame picture = first->takeFrame(front, 16ms);    // … then collect
//   if (picture.answer == VuoFrame::Answer::Fresh) show(picture.buffer);
//
// A request is one event: everything in it is stored, then the event is fired into all inputs. The
// picture that comes back says which request it answers, so nothing has to be guessed from its
// size, its contents or its arrival.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"
#include "Brannow/ZQBuffer.h"
#include "Brannow/ZQVuoPortValue.h"

/// What a picture is wanted for. Each part is optional; what is absent stays as it is.
struct VuoFrameRequest {
  /// For the composition's input `time`, in seconds. Absent: the seconds since the file was set.
  std::optional<double> time;
  /// Pixels; becomes the scene's size. Both sides arrive with this event, so no picture has an old
  /// side.
  std::optional<ZQSize> size;
  /// A filter's input image, for its input `image`. Lent as with `setBuffer`.
  ZQBufferRef image;
  /// By the names of other inputs, as for `setValue` and `setBuffer`; they stay set.
  std::map<std::string, std::shared_ptr<const ZQVuoPortValue>> values;
  std::map<std::string, ZQBufferRef> images;
};

/// A request on its way, from `askForFrame`. The host keeps it as long as it may still want the
/// picture; one that is given up before the composition has begun with it is not drawn, though what
/// it stored stays stored. It keeps no scene and no composition alive. Any thread.
class BRANNOW_API VuoPendingFrame {
 public:
  virtual ~VuoPendingFrame() = default;
  /// Counts a scene's requests from 1.
  virtual std::uint64_t number() const = 0;
  /// The time that the composition was told.
  virtual double time() const = 0;
  /// The names in the request that nothing took: no such input, or a value that does not fit it.
  virtual const std::vector<std::string>& notTaken() const = 0;
};

class VuoFrameOutputs;

/// A picture with what it is.
struct [[nodiscard]] BRANNOW_API VuoFrame {
  enum class Answer {
    Fresh,     ///< drawn for this very request, with everything in it
    Repeated,  ///< the composition has nothing new for this request: its picture stands
    Late,      ///< the wait is over; the newest earlier picture, or null when there is none yet.
               ///< The request can still be taken.
    None,      ///< there is no picture; `reason` and `message` tell why
  };
  enum class Reason {
    Given,        ///< there is a picture, or there may still be one
    NothingRuns,  ///< no composition ran when the frame was asked for
    Ended,        ///< the composition ended first, or another file took its place
    NodeFailed,   ///< a node that the picture depends on could not do its work
    NoPicture,    ///< the composition published no picture for it
    Dropped,      ///< too many requests were waiting
  };

  Answer answer = Answer::None;
  Reason reason = Reason::Given;
  std::string message;  ///< for people; with `None` only
  ZQBufferRef buffer;   ///< the picture, owned by whoever holds it
  /// The number of the request that the picture was drawn for, 0 when it was none.
  std::uint64_t request = 0;
  /// That request's time.
  std::optional<double> time;

  /// The value of another published output as it was with this picture; null for an image, an
  /// unknown name, or an output without a value.
  std::shared_ptr<const ZQVuoPortValue> output(const std::string& name) const;
  /// The same of an output that is an image, owned by whoever holds it.
  ZQBufferRef image(const std::string& name) const;
  std::shared_ptr<const VuoFrameOutputs> outputs;  ///< what `output` and `image` read
};
