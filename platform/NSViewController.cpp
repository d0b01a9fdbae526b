#include "platform/NSViewController.h"

#include "platform/NSBundle.h"
#include "platform/NSLog.h"

namespace korvane {

void NSViewController::loadView() {
  if (!NSBundle::mainBundle()->loadNibNamed(nibName())) {
    NSLog("[%@] loadView %@ has no interface description", kErrorMark, nibName());
  }
}

void NSViewController::viewDidLoad() {}

void NSViewController::loadViewIfNeeded() {
  if (viewLoaded_) return;
  viewLoaded_ = true;
  loadView();
  viewDidLoad();
}

}  // namespace korvane
