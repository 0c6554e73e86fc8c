#pragma once

#include "host/connect.h"

// The groups of checks of a process with a bus, each from Init to UnInit.
void identity_of_the_agent(const bus_libraries& with, const module_exports& module);
void identity_of_the_user_service(const bus_libraries& with, const module_exports& module);
void requests_of_other_processes(const bus_libraries& with, const module_exports& module);
void request_server_without_bus_parts(const bus_libraries& with, const module_exports& module);

// A request whose source is the caller's own.
void fill_own(cloud::connect_request& request);

// The last request that went out is that one, in the name of these.
void check_sent(const libraries& with, const char* app_id, const char* user_token,
                const char* device_id, const char* sentence);
