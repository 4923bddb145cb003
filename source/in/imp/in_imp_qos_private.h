/* QoS marks on the system's side. Linux takes them socket by socket, so there is nothing to set up. */
#ifndef IN_IMP_QOS_PRIVATE_H
#define IN_IMP_QOS_PRIVATE_H

inline void in___ImpQosStartup() {}
inline void in___ImpQosShutdown() {}

#endif
