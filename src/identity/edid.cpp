// Reading a display's EDID and checking it before anyone uses it.
#include <cstring>

#include "identity/edid_decode.h"
#include "nashal/edid.h"
#include "topology/model_file.h"

using namespace nashal::identity;

extern "C" int EDID_Get_Count(void) {
    return nashal::topology::model_int_or("System IO", "EDID_COUNT", 1);
}

extern "C" int EDID_Read_and_Validate(int edid_id, uint8_t *buffer, int size) {
    uint8_t data[kEdidRead] = {};
    int result = se_sys_read_edid(edid_id, data, sizeof data);
    if (result == 0) {
        // Both blocks are summed together: a one-block display whose second half is noise is
        // refused, as the units have always done.
        if (!edid_valid(data))
            return -1;
    }
    if (buffer && size > 0) {
        // Callers pass at most 256; a larger buffer gets the 256 bytes there are, and zeros.
        std::memset(buffer, 0, static_cast<size_t>(size));
        std::memcpy(buffer, data, static_cast<size_t>(size) < sizeof data ? size : sizeof data);
    }
    return result;
}
