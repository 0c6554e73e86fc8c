#pragma once

#include "devkit/splicectl/TourStage.h"

namespace devkit {

// The chapters of the tour, in their order. Each finds the cloud and the host running, and leaves
// them so.

void show_start(TourStage& stage);
void show_requests(TourStage& stage);
void show_breaker(TourStage& stage);
void show_proxy(TourStage& stage);
void show_outage(TourStage& stage);

}  // namespace devkit
