#include "provider/ListItems.h"

#include "provider/HereOrRemote.h"
#include "provider/ModuleState.h"

namespace tarnwick {

std::uint32_t AppointmentListItemListSetPosition(std::int32_t& position) {
    return HereOrRemote("AppointmentListItemListSetPosition", {Parameter(position, false)}, [&] {
        SetFindPosition(position);
        return true;
    });
}

std::uint32_t AppointmentListItemListGetLength(ListRecord& record) {
    return HereOrRemote("AppointmentListItemListGetLength", {Parameter(record, false)},
                        [] { return false; });
}

}  // namespace tarnwick
