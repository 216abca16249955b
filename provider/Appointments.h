// The six calendar operations on this machine's files. True means the 1 of their exports. The
// record is the caller's and is written by Get and the finder alone.
#pragma once

#include "twaicp.h"

namespace tarnwick {

bool AddAppointment(const AppointmentRecord& record);
bool EditAppointment(const AppointmentRecord& key, const AppointmentRecord& replacement);
bool RemoveAppointment(const AppointmentRecord& record);
bool GetAppointment(AppointmentRecord& record);
bool FindFirstAppointment(AppointmentRecord& record);
bool FindNextAppointment(AppointmentRecord& record);

}  // namespace tarnwick
