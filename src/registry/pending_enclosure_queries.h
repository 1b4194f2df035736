// The enclosure queries that the SMART store and the disk service calls ask: capability,
// protocol and the first word of a disk's log name. They belong to the enclosure query
// interface; until it is built, pending_enclosure_queries.cpp gives weak definitions that its
// own replace, and this header goes with them.
#ifndef NASHAL_REGISTRY_PENDING_ENCLOSURE_QUERIES_H
#define NASHAL_REGISTRY_PENDING_ENCLOSURE_QUERIES_H

#include <cstdint>

extern "C" {
int SE_Get_Capability(int enc_id, uint32_t *capability);
int SE_Get_Protocol(int enc_id);
int SE_Get_Cache_Enc_Id(void);
int SE_Get_Pci_Cache_Enc_Id(uint32_t *bits);
char *SE_Get_Log_Name(int enc_id, char *buffer, int size);
}

#endif  // NASHAL_REGISTRY_PENDING_ENCLOSURE_QUERIES_H
