#include "provider/HereOrRemote.h"
#include "provider/ModuleState.h"
#include "provider/Operations.h"

namespace tarnwick {

std::uint32_t RewriteItem(AppointmentItemRecord& record) {
    // Unlike the exported writer it asks a server under its own name: kept for compatibility.
    return HereOrRemote("AppointmentItemWriteFirstChunk", {Parameter(record, Transfer::SentOnly)},
                        [&] {
                            DeleteItem(record);
                            WriteFirstItemChunk(record);
                            return true;
                        });
}

std::uint32_t AppointmentListItemListSetPosition(std::int32_t& position) {
    return HereOrRemote("AppointmentListItemListSetPosition",
                        {Parameter(position, Transfer::SentOnly)}, [&] {
                            SetFindPosition(position);
                            return true;
                        });
}

std::uint32_t AppointmentListItemListGetLength(ListRecord& record) {
    return HereOrRemote("AppointmentListItemListGetLength", {Parameter(record, Transfer::SentOnly)},
                        [] { return false; });
}

}  // namespace tarnwick
