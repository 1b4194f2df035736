// IDENTIFY DEVICE through SG_IO. A SAS disk, or a USB bridge that doesn't pass ATA commands on,
// takes the request but moves no data: the residual count is how they show themselves.
#include "disk/ata_transport.h"
#include "nashal/pd_sys.h"

using namespace nashal::ata;

extern "C" int get_sata_ident_resp(const char *pd_ctrl_name, unsigned char *buffer) {
    if (!pd_ctrl_name || !buffer)
        return -1;
    Request request{};
    request.block = ata_command({kProtocolPioDataIn,
                                 kFlagDirectionIn | kFlagLengthInBlocks | kFlagLengthInCount, 0, 0,
                                 0, 0, 0, kCmdIdentifyDevice});
    request.direction = Direction::kFromDevice;
    request.data = buffer;
    request.data_len = kIdentifyLen;
    Reply reply;
    if (ata_pass_through(__func__, pd_ctrl_name, request, &reply) != 0)
        return -1;
    return reply.resid == 0 ? 0 : -1;
}
