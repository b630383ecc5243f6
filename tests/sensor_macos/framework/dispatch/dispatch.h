// The little of the system's dispatch queues that the program and the fakes use.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif
typedef struct tvn_fake_queue* dispatch_queue_t;
#define DISPATCH_QUEUE_SERIAL 0
dispatch_queue_t dispatch_queue_create(const char* label, int kind);
#ifdef __cplusplus
}
#endif
