// The whole public interface of Brannow.
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
