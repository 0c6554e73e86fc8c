#pragma once

#include "devkit/splicectl/TourCast.h"

namespace devkit {

/// The two applications.
struct Players {
  TourCast::Application notes;    ///< takes events
  TourCast::Application product;  ///< takes commands, once it is there
};

// The chapters with pushes, in their order. The cloud runs.

void show_cast(TourStage& stage, TourCast& cast, Players& players);
void show_event(TourStage& stage, TourCast& cast, Players& players);
void show_missed_command(TourStage& stage, TourCast& cast, Players& players);
void show_command(TourStage& stage, TourCast& cast, Players& players);
void show_killed_host(TourStage& stage, TourCast& cast, Players& players);
void show_changed_user(TourStage& stage, TourCast& cast);
void show_request_over_bus(TourStage& stage, TourCast& cast);

}  // namespace devkit
