// Splitting a SAS expander's firmware image into its two payloads, checking that it fits the
// expander, and sending both with sg_write_buffer.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "identity/sas_fw_image_layout.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"
#include "nashal/sas_expander_fw.h"
#include "nashal/se_sys.h"

namespace nashal::identity {

bool decode_fw_header(const uint8_t *bytes, size_t size, FwImageHeader *header) {
    if (!bytes || !header || size < kFwHeaderSize)
        return false;
    header->model_type = bytes[kFwModelTypeOffset];
    header->major = bytes[kFwMajorOffset];
    header->minor = bytes[kFwMinorOffset];
    header->fw_length = load_le32(bytes + kFwLengthOffset);
    header->mfg_length = load_le32(bytes + kFwMfgLengthOffset);
    return true;
}

uint64_t fw_image_end(const FwImageHeader &header) {
    uint64_t fw_end = kFwPayloadOffset + header.fw_length;
    uint64_t mfg_end = kMfgPayloadOffset + header.mfg_length;
    return fw_end > mfg_end ? fw_end : mfg_end;
}

namespace {

struct ModelType {
    const char *model;
    int type;
};

// Image model types by the enclosure model an expander reports, compared exactly.
constexpr ModelType kModelTypes[] = {
    {"VEXP-3100U-RP", 1},    {"VEXP-3500U-RP", 4},    {"VN-3578U-RP EXP", 6},
    {"VN-3178U-RP EXP", 7},  {"VM-4378U-RP EXP", 8},  {"VEXP-3000 Pro", 11},
    {"VN-4379U", 12},        {"VN-3179U-RP EXP", 12}, {"VN-3579U-RP EXP", 12},
    {"VN-4379U-RP EXP", 12}, {"VVN-7379-RP EXP", 13}, {"VVN-31379-RP EXP", 13},
    {"VEXP-3120U-RP", 14},   {"VEXP-3520U-RP", 14},   {"VEXP-4320U-RP", 14},
};

// "/tmp/x.img" with "fw" gives "/tmp/x.fw"; a path without "." gets the word at its end. False
// when the name doesn't fit the buffer: a cut name would be another file.
bool payload_path(const char *image, const char *word, char *out, size_t size) {
    char stem[PATH_MAX] = {};
    hal_copy(stem, image);
    if (char *dot = strrchr(stem, '.'))
        dot[1] = '\0';
    int n = snprintf(out, size, "%s%s", stem, word);
    return n >= 0 && static_cast<size_t>(n) < size;
}

// Creates `path` and copies `length` bytes of the image from `offset` into it. 0 or -1.
int copy_payload(int image_fd, uint64_t offset, uint32_t length, const char *path) {
    FileDescriptor out(::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!out || lseek(image_fd, static_cast<off_t>(offset), SEEK_SET) < 0)
        return -1;
    return copy_exactly(image_fd, out.get(), length);
}

}  // namespace

int expander_model_type(const char *model) {
    for (const ModelType &m : kModelTypes)
        if (model && strcmp(model, m.model) == 0)
            return m.type;
    return kUniversalModelType;
}

}  // namespace nashal::identity

using namespace nashal::identity;

extern "C" int SAS_Expander_Retrive_Img_Info(const char *image_path, unsigned char *header) {
    if (!image_path || !header || access(image_path, F_OK) != 0)
        return -1;
    memset(header, 0, kFwHeaderSize);
    nashal::FileDescriptor fd(::open(image_path, O_RDONLY | O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't open %s to retrieve version!\n", __func__,
                  image_path);
        return -1;
    }
    return read_exactly(fd.get(), header, kFwHeaderSize);
}

extern "C" int SAS_Expander_Disassemble_Img(const char *image_path, char *version, int version_size,
                                            char *fw_path, int fw_path_size, char *mfg_path,
                                            int mfg_path_size, int *model_type) {
    unsigned char bytes[kFwHeaderSize];
    FwImageHeader header;
    if (!fw_path || !mfg_path || fw_path_size <= 0 || mfg_path_size <= 0 ||
        SAS_Expander_Retrive_Img_Info(image_path, bytes) != 0 ||
        !decode_fw_header(bytes, sizeof bytes, &header))
        return -1;
    const size_t length = strlen(image_path);
    if (length > static_cast<size_t>(fw_path_size) || length > static_cast<size_t>(mfg_path_size))
        return -1;
    if (!payload_path(image_path, "fw", fw_path, static_cast<size_t>(fw_path_size)) ||
        !payload_path(image_path, "mfg", mfg_path, static_cast<size_t>(mfg_path_size)))
        return -1;
    if (version && version_size > 0)
        snprintf(version, static_cast<size_t>(version_size), "%02d.%02d", header.major,
                 header.minor);
    if (model_type)
        *model_type = header.model_type;

    nashal::FileDescriptor image(::open(image_path, O_RDONLY | O_CLOEXEC));
    if (!image)
        return -1;
    // An image shorter than its header says would fail half-way through the copies and leave
    // split files behind; it is refused before either is made.
    struct stat st {};
    if (fstat(image.get(), &st) != 0 || static_cast<uint64_t>(st.st_size) < fw_image_end(header)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: %s holds %lld bytes, its header asks for %llu\n", __func__,
                  image_path, static_cast<long long>(st.st_size),
                  static_cast<unsigned long long>(fw_image_end(header)));
        return -1;
    }
    int result = copy_payload(image.get(), kFwPayloadOffset, header.fw_length, fw_path);
    if (result == 0)
        result = copy_payload(image.get(), kMfgPayloadOffset, header.mfg_length, mfg_path);
    return result;
}

extern "C" int check_sas_fw_model(const char *device, int model_type) {
    if (!device)
        return -1;
    const char *slash = strrchr(device, '/');
    char enc_sys_id[8] = {};
    nashal::hal_copy(enc_sys_id, slash ? slash + 1 : device);
    ENC_INFO info{};
    int enc_id = -1;
    if (SE_Get_Id_By_Sys_Id(enc_sys_id, &enc_id) != 0)
        (void)se_sys_getinfo(enc_sys_id, &info);  // an expander not attached yet
    else
        (void)SE_Get_Info(enc_id, &info);
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s: sg_name=%s, enc_sys_id=%s, enc_id=%d\n", __func__, device,
              enc_sys_id, enc_id);
    const int target_type = expander_model_type(info.model);
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s: enc_info.model=\"%s\", model_type=0x%x, fw_model_type=0x%x\n",
              __func__, info.model, target_type, model_type);
    return model_type == kUniversalModelType || model_type == target_type ? 0 : -1;
}

namespace {

// One payload to one buffer of the expander. 0 or the tool's non-zero status.
int write_buffer(int buffer_id, const char *file, const char *device) {
    char command[128];
    const char *format = buffer_id == 0 ? "/sbin/sg_write_buffer --id=0 --in=%s --mode=2 %s"
                                        : "/sbin/sg_write_buffer --id=1 --in=%s --mode=2 %s";
    if (nashal::hal_build_command(__func__, command, sizeof command, format, file, device) < 0)
        return -1;
    return system(command);
}

}  // namespace

extern "C" int SAS_Expander_Upgrade_Img(const char *device, const char *image_path, char *version,
                                        int version_size) {
    if (!device)
        return -1;
    char fw_path[128] = {};
    char mfg_path[128] = {};
    int model_type = 0;
    int result =
        SAS_Expander_Disassemble_Img(image_path, version, version_size, fw_path, sizeof fw_path,
                                     mfg_path, sizeof mfg_path, &model_type);
    if (result != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't disassemble image file %s!\n", __func__,
                  image_path ? image_path : "(null)");
        return result;
    }
    if (check_sas_fw_model(device, model_type) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: fw model type did not match\n", __func__);
        result = -1;
    } else if (write_buffer(1, mfg_path, device) != 0) {
        // The manufacturing data goes first; without it the firmware is not sent.
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't upgrade mfg file: %s!\n", __func__, mfg_path);
        result = -1;
    } else if (write_buffer(0, fw_path, device) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't upgrade fw file: %s!\n", __func__, fw_path);
        result = -1;
    }
    unlink(fw_path);
    unlink(mfg_path);
    return result;
}
