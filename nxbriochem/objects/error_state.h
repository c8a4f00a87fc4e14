// State of the message queues, for their tests.
#ifndef NXBRIOCHEM_OBJECTS_ERROR_STATE_H
#define NXBRIOCHEM_OBJECTS_ERROR_STATE_H

#include <cstdint>

namespace error {

extern int32_t err_str_len;
extern int32_t err_str_pos;
extern int32_t err_str_last;
extern int32_t war_str_len;
extern int32_t war_str_pos;
extern int error_write;

}  // namespace error

#endif
