// The request round trip: one datagram out to the service, one back.
#pragma once

#include "hqos.h"

// Writes a request, a message head and one TLV, into buf (HQOS_MSG_MAX bytes); returns its length.
uint32_t HQOS_lib_EncapReq(uint8_t opClass, uint16_t type, const void* value, uint16_t length,
                           uint8_t* buf);

// Sends the request and receives the reply, at most replyCap bytes, over a socket of its own.
// Return: 0, or HQOS_ERR_FAILED.
uint32_t HQOS_lib_Transact(uint16_t reqLen, const uint8_t* req, uint16_t replyCap, uint8_t* reply,
                           uint16_t* replyLen);

// Reads the status with which a reply begins. Return: 0, or HQOS_ERR_BADREPLY with *result cleared
// when the reply does not begin with a usable status TLV.
uint32_t HQOS_lib_DecapResult(const uint8_t* reply, uint16_t replyLen, HQOS_Result* result);

// A command: returns as the public commands do.
uint32_t HQOS_lib_Config(uint16_t cmdCode, const void* payload, uint16_t length,
                         HQOS_Result* result);

// A query: 0 with the data reply in `reply` (HQOS_MSG_MAX bytes), HQOS_ERR_FAILED,
// HQOS_ERR_BADREPLY, or the code of the reply's status TLV.
uint32_t HQOS_lib_Query(uint8_t opClass, uint16_t queryType, uint16_t length, const void* value,
                        uint8_t* reply, uint16_t* replyLen);
