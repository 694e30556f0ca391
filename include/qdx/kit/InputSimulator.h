#pragma once
// Simulated touches for tests and the demo: taps, swipes on scroll views
// and presses on alert buttons, delivered the way the device delivers them.
// Call on the main thread.
#include <cstddef>
#include <memory>
#include <string>

#include "qdx/QDXExport.h"
#include "qdx/kit/AlertController.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/ScrollView.h"
#include "qdx/kit/View.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {

// The view that takes a touch at point (window coordinates): the topmost
// presented controller's view when controllers are presented, else the
// window's own tree (see View::hitTest). nullptr when nothing takes it.
QDX_EXPORT std::shared_ptr<View> hitTestWindow(const std::shared_ptr<Window>& window, Point point);

// Delivers a tap to hit, the view that took it: walking up from hit, the
// first view that has an enabled tap recogniser fires its recognisers, or
// the first enabled control sends its touch-up-inside actions; a disabled
// control swallows the tap. Returns whether an action ran.
QDX_EXPORT bool deliverTap(const std::shared_ptr<View>& hit);

// Taps window at point: a pointer down and up at once, through the same
// gesture path as a surface's pointer events (see Surface). While an alert
// is on screen (an alert view over the key window, or a presented alert
// controller) the tap reaches only the alert: on one of its buttons it
// presses it, elsewhere nothing happens.
QDX_EXPORT bool tapAt(const std::shared_ptr<Window>& window, Point point);
// Taps a view tree that need not be in a window, at point in root's
// coordinates.
QDX_EXPORT bool tapInTree(const std::shared_ptr<View>& root, Point point);
// Taps at the centre of view, as a finger would: whatever is on top there
// takes the tap (from the view's window, else its topmost ancestor).
QDX_EXPORT bool tapView(const std::shared_ptr<View>& view);

// Flicks scrollView's content by distance points horizontally (positive
// moves toward later pages, as a finger moving left does): pointer events
// from the middle of the view, a 60 Hz frame apart, through the same
// gesture path as a surface's. Whatever is on top there takes them, as it
// would a finger. The content follows the finger (resisting past its ends
// when bounces is on, else stopping there), the delegate hears
// scrollViewWillBeginDecelerating at the release, the content settles
// (with paging, on the next page in the flick's direction, clamped to the
// content) and the delegate hears scrollViewDidEndDecelerating. The call
// returns once the content is at rest, with the page it settled on
// (offset / width, rounded). A distance within the tap slop (10 points)
// moves nothing, as on a phone; a zero distance does nothing at all.
QDX_EXPORT long swipe(const std::shared_ptr<ScrollView>& scrollView, double distance);

// Presses alert's action at index (or with title): the alert is dismissed,
// then the action's handler runs. False when the alert is not presented or
// has no such action.
QDX_EXPORT bool pressAlertAction(const std::shared_ptr<AlertController>& alert, std::size_t index);
QDX_EXPORT bool pressAlertAction(const std::shared_ptr<AlertController>& alert, const std::string& title);

// Presses an alert view's button: the delegate hears the index, then the
// alert leaves the screen. False when it is not on screen or index is no
// button.
QDX_EXPORT bool pressAlertViewButton(const std::shared_ptr<AlertView>& alert, long index);

}  // namespace qdx::kit
