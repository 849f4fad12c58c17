# What a maker's framework may have got wrong, the step of the doctor that finds it, and what its sentence
# names.

set(framework ServiceFramework.h)
set(contract ServiceContract.h)

# One slot too many, in front of the others.
set(more "virtual int32_t more() { return 1; }\n    ")

set(buffer "virtual int32_t writeBuffer(const void* data, int64_t length) = 0;")
set(int32 "virtual int32_t writeInt32(int32_t value) = 0;")
set(int64 "virtual int32_t writeInt64(int64_t value) = 0;")
set(unused "    virtual int32_t reserved1() = 0;\n    virtual int32_t reserved2() = 0;\n")
set(text "virtual int32_t writeCString(const char* text) = 0;")
wrong_framework(write_order written-integers "SerializationContent::writeInt32" ${framework}
  "${int32}\n    ${int64}" "${int64}\n    ${int32}")
wrong_framework(write_order_of_block written-integers "SerializationContent::writeInt32" ${framework}
  "${buffer}\n    ${int32}" "${int32}\n    ${buffer}")
wrong_framework(write_missing written-texts "SerializationContent::writeCString" ${framework}
  "${unused}    ${text}" "    virtual int32_t reserved1() = 0;\n    ${text}")
wrong_framework(write_more written-texts "SerializationContent::writeCString" ${framework} "${text}" "${more}${text}")
wrong_framework(write_base request "SerializationContent: its class" ${framework}
  "class SerializationContent : public virtual" "class SerializationContent : public")

set(buffer "virtual int32_t readBuffer(void* dest, int64_t length) = 0;")
set(int32 "virtual int32_t readInt32() = 0;")
set(int64 "virtual int64_t readInt64() = 0;")
wrong_framework(read_order read-integers "DeserializationContent::readCString" ${framework}
  "${int32}\n    ${int64}" "${int64}\n    ${int32}")
wrong_framework(read_more read-texts "DeserializationContent::readCString" ${framework} "${buffer}" "${more}${buffer}")
wrong_framework(read_missing read-texts "DeserializationContent::readCString" ${framework}
  "${int64}\n    virtual int32_t reserved1() = 0;\n" "${int64}\n")
wrong_framework(read_base read-texts "DeserializationContent: its class" ${framework}
  "class DeserializationContent : public virtual" "class DeserializationContent : public")

set(request "virtual sp<ServiceReply> request(sp<ServiceItem>& item) = 0;")
set(add "virtual int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) = 0;")
set(remove "virtual int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) = 0;")
wrong_framework(client_order listener "ServiceClient::setNotifyListener" ${framework} "${add}\n    ${remove}" "${remove}\n    ${add}")
wrong_framework(client_more request "ServiceClient::request" ${framework} "${request}" "${more}${request}")
wrong_framework(client_base binding "ServiceClient: its class" ${framework}
  "class ServiceClient : public virtual" "class ServiceClient : public")

set(name "virtual const char* servicename() = 0;")
set(protocol "virtual sp<ServiceProtocol> protocol() = 0;")
wrong_framework(info_more binding "ServiceInfo::protocol" ${contract} "${name}" "${more}${name}")
wrong_framework(info_base binding "ServiceInfo" ${contract}
  "class ServiceInfo : public virtual" "class ServiceInfo : public")
wrong_framework(info_order binding "ServiceInfo::protocol" ${contract} "${name}\n    ${protocol}" "${protocol}\n    ${name}")
set(notify "virtual sp<ServiceNotifyFactory> notifyFactory() = 0;")
set(item "virtual sp<ServiceItemFactory> itemFactory() = 0;")
wrong_framework(protocol_order notification "ServiceProtocol" ${contract}
  "${notify}\n    ${item}" "${item}\n    ${notify}")
wrong_framework(protocol_more request "ServiceProtocol" ${contract}
  "${notify}" "${more}${notify}")
wrong_framework(protocol_missing request "ServiceProtocol::replyFactory" ${contract}
  "${item}" "sp<ServiceItemFactory> itemFactory() { return nullptr; }")
wrong_framework(factory_more request "ServiceReplyFactory" ${contract}
  "virtual sp<ServiceReply> create" "${more}virtual sp<ServiceReply> create")
wrong_framework(notify_factory_more "listener|notification" "ServiceNotifyFactory" ${contract}
  "virtual sp<ServiceNotify> create" "${more}virtual sp<ServiceNotify> create")
wrong_framework(item_factory_more request "ServiceItemFactory" ${contract}
  "virtual sp<ServiceItem> create" "${more}virtual sp<ServiceItem> create")
foreach(wrong "ServiceProtocol binding" "ServiceReplyFactory request" "ServiceItemFactory request"
    "ServiceNotifyFactory listener|notification" "ServiceNotifyListener listener|notification")
  string(REPLACE " " ";" wrong ${wrong})
  list(GET wrong 0 class)
  list(GET wrong 1 step)
  wrong_framework(base_of_${class} "${step}" "${class}" ${contract}
    "class ${class} : public virtual" "class ${class} : public")
endforeach()
set(write "virtual void serialization(sp<SerializationContent>& content) = 0;")
set(read "virtual void deserialization(sp<DeserializationContent>& content) = 0;")
wrong_framework(message_order request "ServiceItem::serialization" ${contract} "${write}\n    ${read}" "${read}\n    ${write}")
wrong_framework(message_base request "ServiceItem" ${contract}
  "class SerializationBase : public virtual" "class SerializationBase : public")
# It is called on a thread of the framework's while the first of these steps ends.
wrong_framework(listener_more "listener|notification" "ServiceNotifyListener" ${contract}
  "virtual void onNotify" "${more}virtual void onNotify")
wrong_framework(status_place lost "ServiceStatusNotify" ${framework} "int32_t status = 0;" "int64_t more = 0;\n    int32_t status = 0;")
