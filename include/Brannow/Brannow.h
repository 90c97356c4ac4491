// The whole public interface of Brannow, with what a host needs of the platform.
#pragma once

#include "Brannow/BrannowStringAdditions.h"
#include "Brannow/VuoBufferAdditions.h"
#include "Brannow/VuoBufferPoolAdditions.h"
#include "Brannow/VuoCache.h"
#include "Brannow/VuoCacheItem.h"
#include "Brannow/VuoGLScene.h"
#include "Brannow/VuoGLSceneProtocol.h"
#include "Brannow/ZQVuoAlertPanel.h"
#include "Brannow/ZQVuoCompStringAdditions.h"
#include "Brannow/ZQVuoComposition.h"
#include "Brannow/ZQVuoCompositionPort.h"
#include "Brannow/ZQVuoPortValue.h"
#include "platform/system/Alert.h"
#include "platform/system/Dispatch.h"
#include "platform/system/Notifications.h"
#include "platform/system/SystemLog.h"
