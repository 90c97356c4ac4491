// The whole public interface of Brannow, and how its parts belong together.
//
// Brannow runs node-graph compositions (`.vuo` files) as image generators and image filters of a
// host, a video application with a GL context. The host asks for pictures; Brannow compiles the
// compositions, runs them and hands their pictures over as textures. It opens no window and has no
// loop of its own.
//
// THE SHORTEST HOST
//
//   auto context = brannow::GLContext::wrapCurrent();    // your EGL context, lent; or createRoot()
//   auto pool = ZQBufferPool::create(context->handle());
//   _globalZQBufferPool = pool.get();                    // pictures come as buffers of this pool
//   VuoGLScene::setGlobalVuoGLContext(context);          // before the first scene loads
//   VuoCache::configGlobalCacheWithSavePath("~/.cache/my-host");
//
//   auto scene = VuoGLScene::initWithSize(1280, 720);    // one for each layer
//   scene->useFile("/where/clouds.vuo", true);           // returns when the file has been read
//   while (running) {
//     brannow::MainQueue::shared().runDue();             // answers, alerts, changes of the status
//     VuoFrameRequest request;
//     request.time = secondsOnYourClock;
//     VuoFrame picture = scene->renderFrame(request, 16ms);
//     if (picture.buffer) draw(picture.buffer->name());  // a texture in your share group
//   }
//
//   scene.reset();
//   brannow::postNotification(brannow::NSApplicationWillTerminateNotification);  // saves the cache
//   brannow::finishQueues();                             // then pool and context may go
//
// WHAT TO READ, in this order. A host that shows compositions needs the first four.
//
//   VuoGLScene.h          one hosted composition: loading it, its frames, its inputs and outputs
//   VuoFrame.h            a frame by request, and what a picture says of itself
//   ZQBuffer.h            a picture: a texture with its description, counted by its holders
//   MainQueue.h           where answers arrive; the wait at the end
//   VuoSceneStatus.h      what a scene is doing, and why it does not run
//   ZQVuoPortValue.h      a value of an input or output
//   ZQVuoComposition.h    what a file publishes, without running it; with ZQVuoCompositionPort.h, a
//                         port, and ZQVuoCompositionProblem.h, what could not be read
//   CompositionCheck.h    what is wrong with a composition and its files, and where
//   VuoCache.h            compiled compositions; with VuoCacheItem.h, a record
//   GLContext.h           the host's context, or one without a window
//   ZQBufferPool.h        pictures that the host makes, and reading their pixels
//   Log.h, Alert.h        where lines go, and who shows the user an alert
//   Notifications.h       the application's end
//   BrannowVersion.h      versions, as macros and of the loaded library
//   Engine.h              all of the above set up for code that is not the host: plug-ins
//   VuoContainment.h      what the kernel lacks to contain a composition's process
//
// Few hosts need: GLScene.h (the base of the pool), VuoGLSceneProtocol.h (what a runner reports to
// a scene), VuoBufferAdditions.h and VuoBufferPoolAdditions.h (the runtime's images as buffers),
// ZQVuoAlertPanel.h, BrannowStringAdditions.h, ZQVuoCompStringAdditions.h, BrannowExport.h.
//
// THREADS
//
//   Every operation may be called from any thread, but where its comment says otherwise:
//   configuring and clearing the cache go with no other call of it, and what only tells (the
//   descriptor's fields, a port list that the host changes) has no lock.
//
//   - Calls that reach one scene's composition wait for each other. Scenes do not wait for scenes.
//     No wait for a picture holds up another call.
//   - Nothing waits for a composition's process, but a frame call for the time that it is given and
//     `finishQueues`. A load with `async` waits for reading the file and for nothing else.
//   - The host is called back on the thread that serves the main queue: completions of the cache,
//     the status handler, the alert presenter. The log's sink is called on any thread. A buffer's
//     release callback runs on the thread that drops the last reference.
//   - The log's sink and a release callback may run with a lock held, and call nothing back. The
//     others run with none and may call anything but `finishQueues`.
//   - Where nobody serves the main queue, no asynchronous load ends, and a scene whose composition
//     has ended is not unloaded. A load without `async` and its frames need no queue.
//
// GL
//
//   Compositions draw in contexts of their own, in the share group of the root context that the
//   host has named. No call needs a current context, and each leaves the caller's as it was. A
//   picture that comes out is complete on the GPU: no fence is needed. What goes in must have been
//   flushed, and must not change while the composition uses it (`setBuffer`). The first row of a
//   texture is the bottom of its picture.
//
// OWNERSHIP
//
//   - Scenes, compositions, ports, records: `std::shared_ptr`. Whoever holds one may keep it; what
//     it came from may go. A scene that is not held any more unloads itself.
//   - `ZQBufferRef` owns one reference to a buffer. Operations named alloc… or copy… hand over
//     something new, which the caller owns; so do the frames. As long as a picture's reference is
//     held its texture is not drawn into again: hold it until the GPU has read it, no longer.
//   - `stringValue`, the names of `notTaken` and other references and plain pointers are lent: they
//     go with the object that was asked.
//   - What the host lends (the GL context, the pool, a delegate) it keeps until `finishQueues` has
//     returned, after the last scene and the last buffer.
//
// LIFE
//
//   Once, in this order: context, pool, `setGlobalVuoGLContext`, `configGlobalCacheWithSavePath`.
//
//   A scene is Empty, then Loading from `useFile` on, then Running when its composition has come up
//   or Failed when it can't; a running one that ends by itself is Lost. Failed and Lost unload the
//   scene, and `useFile` begins again (VuoSceneStatus.h). Frames may be asked for and values set as
//   soon as `readyToRender()`: they wait in order for the composition to come up. Each load starts
//   with the composition's own defaults.
//
//   At the end: let the scenes go, post the notification (records are written then and only then),
//   `finishQueues`, then drop the pool and the context. A process may also just exit: what still
//   runs is ended by itself, and nothing is remembered of what was compiled.
//
// WHAT GOES WRONG
//
//   Nothing is thrown. An operation returns null, false, nothing or an answer with a reason, and
//   what it ran into is a line of the log that names it. A composition in a process of its own
//   (the default) can crash, hang or say nonsense without touching the host; in the host's process
//   it can't be stopped from doing anything.
//
// WHAT IS STABLE is told by docs/stability.md: these declarations and their comments, not the
// private parts of classes nor what begins with an underscore, but for `_globalZQBufferPool`.
#pragma once

#include "Brannow/Alert.h"
#include "Brannow/BrannowExport.h"
#include "Brannow/BrannowStringAdditions.h"
#include "Brannow/BrannowVersion.h"
#include "Brannow/CompositionCheck.h"
#include "Brannow/Engine.h"
#include "Brannow/GLContext.h"
#include "Brannow/GLScene.h"
#include "Brannow/Log.h"
#include "Brannow/MainQueue.h"
#include "Brannow/Notifications.h"
#include "Brannow/VuoBufferAdditions.h"
#include "Brannow/VuoBufferPoolAdditions.h"
#include "Brannow/VuoCache.h"
#include "Brannow/VuoCacheItem.h"
#include "Brannow/VuoContainment.h"
#include "Brannow/VuoFrame.h"
#include "Brannow/VuoGLScene.h"
#include "Brannow/VuoGLSceneProtocol.h"
#include "Brannow/VuoSceneStatus.h"
#include "Brannow/ZQBuffer.h"
#include "Brannow/ZQBufferPool.h"
#include "Brannow/ZQVuoAlertPanel.h"
#include "Brannow/ZQVuoCompStringAdditions.h"
#include "Brannow/ZQVuoComposition.h"
#include "Brannow/ZQVuoCompositionPort.h"
#include "Brannow/ZQVuoCompositionProblem.h"
#include "Brannow/ZQVuoPortValue.h"
