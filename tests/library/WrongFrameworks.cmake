# What a maker's framework may have got wrong, and the step of the doctor that finds it.

set(framework ServiceFramework.h)
set(contract ServiceContract.h)

# One slot too many, in front of the others.
set(more "virtual int32_t more() { return 1; }\n    ")

set(buffer "virtual int32_t writeBuffer(const void* data, int64_t length) = 0;")
set(int32 "virtual int32_t writeInt32(int32_t value) = 0;")
set(int64 "virtual int32_t writeInt64(int64_t value) = 0;")
set(unused "    virtual int32_t reserved1() = 0;\n    virtual int32_t reserved2() = 0;\n")
set(text "virtual int32_t writeCString(const char* text) = 0;")
wrong_framework(write_order written-integers ${framework}
  "${int32}\n    ${int64}" "${int64}\n    ${int32}")
wrong_framework(write_order_of_block written-integers ${framework}
  "${buffer}\n    ${int32}" "${int32}\n    ${buffer}")
wrong_framework(write_missing written-texts ${framework}
  "${unused}    ${text}" "    virtual int32_t reserved1() = 0;\n    ${text}")
wrong_framework(write_more written-texts ${framework} "${text}" "${more}${text}")
wrong_framework(write_base request ${framework}
  "class SerializationContent : public virtual" "class SerializationContent : public")

set(buffer "virtual int32_t readBuffer(void* dest, int64_t length) = 0;")
set(int32 "virtual int32_t readInt32() = 0;")
set(int64 "virtual int64_t readInt64() = 0;")
wrong_framework(read_order read-integers ${framework}
  "${int32}\n    ${int64}" "${int64}\n    ${int32}")
wrong_framework(read_more read-texts ${framework} "${buffer}" "${more}${buffer}")
wrong_framework(read_missing read-texts ${framework}
  "${int64}\n    virtual int32_t reserved1() = 0;\n" "${int64}\n")
wrong_framework(read_base read-texts ${framework}
  "class DeserializationContent : public virtual" "class DeserializationContent : public")

set(request "virtual sp<ServiceReply> request(sp<ServiceItem>& item) = 0;")
set(add "virtual int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) = 0;")
set(remove "virtual int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) = 0;")
wrong_framework(client_order listener ${framework} "${add}\n    ${remove}" "${remove}\n    ${add}")
wrong_framework(client_more request ${framework} "${request}" "${more}${request}")
wrong_framework(client_base binding ${framework}
  "class ServiceClient : public virtual" "class ServiceClient : public")

set(name "virtual const char* servicename() = 0;")
set(protocol "virtual sp<ServiceProtocol> protocol() = 0;")
wrong_framework(info_order binding ${contract} "${name}\n    ${protocol}" "${protocol}\n    ${name}")
set(notify "virtual sp<ServiceNotifyFactory> notifyFactory() = 0;")
set(item "virtual sp<ServiceItemFactory> itemFactory() = 0;")
wrong_framework(protocol_order notification ${contract}
  "${notify}\n    ${item}" "${item}\n    ${notify}")
wrong_framework(protocol_missing request ${contract} "    ${item}\n" "")
wrong_framework(factory_more request ${contract}
  "virtual sp<ServiceReply> create" "${more}virtual sp<ServiceReply> create")
set(write "virtual void serialization(sp<SerializationContent>& content) = 0;")
set(read "virtual void deserialization(sp<DeserializationContent>& content) = 0;")
wrong_framework(message_order request ${contract} "${write}\n    ${read}" "${read}\n    ${write}")
wrong_framework(message_base request ${contract}
  "class SerializationBase : public virtual" "class SerializationBase : public")
# It is called on a thread of the framework's while the first of these steps ends.
wrong_framework(listener_more "listener|notification" ${contract}
  "virtual void onNotify" "${more}virtual void onNotify")
wrong_framework(status_place lost ${framework} "int32_t status = 0;" "int64_t more = 0;\n    int32_t status = 0;")
