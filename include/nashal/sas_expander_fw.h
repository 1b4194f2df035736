/* SAS expander firmware images: one file holding the firmware and the manufacturing data,
 * split beside the image into "<image without its ending>.fw" and ".mfg" and sent to the
 * expander with /sbin/sg_write_buffer (buffer 1, the manufacturing data, first; then buffer 0,
 * the firmware). The new firmware runs after the enclosure reboots. */
#ifndef NASHAL_SAS_EXPANDER_FW_H
#define NASHAL_SAS_EXPANDER_FW_H

#ifdef __cplusplus
extern "C" {
#endif

/* The image's 20-byte header into `header`. 0, or -1. */
int SAS_Expander_Retrive_Img_Info(const char *image_path, unsigned char *header);
/* Splits the image into the two payload files, whose paths are written to fw_path and
 * mfg_path; `version` (may be null) receives "%02d.%02d" of the image, `model_type` (may be
 * null) its model type. 0, or non-zero; an image too short for the lengths its header gives is
 * refused before either file is made. */
int SAS_Expander_Disassemble_Img(const char *image_path, char *version, int version_size,
                                 char *fw_path, int fw_path_size, char *mfg_path, int mfg_path_size,
                                 int *model_type);
/* 0 when an image of `model_type` fits the expander behind the device node ("/dev/sg10"),
 * attached or not; -1 otherwise. */
int check_sas_fw_model(const char *device, int model_type);
/* Checks and writes the image to the expander; `version` (may be null) receives the image's
 * version. 0, or non-zero. The split files are removed once the model check has run. */
int SAS_Expander_Upgrade_Img(const char *device, const char *image_path, char *version,
                             int version_size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SAS_EXPANDER_FW_H */
