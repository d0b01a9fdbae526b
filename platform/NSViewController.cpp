#include "platform/NSViewController.h"

#include "platform/NSBundle.h"

namespace korvane {

void NSViewController::loadView() { NSBundle::mainBundle()->loadNibNamed(nibName()); }

void NSViewController::viewDidLoad() {}

void NSViewController::loadViewIfNeeded() {
  if (viewLoaded_) return;
  viewLoaded_ = true;
  loadView();
  viewDidLoad();
}

}  // namespace korvane
